#include "stage/render/frame_crew.h"

#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "stage/module/effect_module.h"
#include "stage/render/scene_renderer.h"

namespace orvandel::stage {

struct FrameCrew::Hand {
  Hand(std::unique_ptr<EffectLibrary> effect, const Scene& scene, const RenderOptions& options)
      : module(std::move(effect)), renderer(module, scene, options) {}
  EffectModule module;
  SceneRenderer renderer;
};

FrameCrew::FrameCrew(const std::function<std::unique_ptr<EffectLibrary>()>& effect, const Scene& scene,
                     const RenderOptions& options, int threads) {
  for (int i = 0; i < threads; ++i) hands_.push_back(std::make_unique<Hand>(effect(), scene, options));
}

FrameCrew::~FrameCrew() = default;

void FrameCrew::Render(std::span<const std::int32_t> frames, const Take& take) {
  std::atomic<std::size_t> next = 0;
  std::mutex taking;  // also guards `failure`
  std::exception_ptr failure;
  const auto work = [&](Hand& hand) {
    try {
      for (std::size_t at = next++; at < frames.size(); at = next++) {
        Picture picture = hand.renderer.Render(frames[at]);
        const std::lock_guard lock(taking);
        if (failure != nullptr) return;
        take(frames[at], std::move(picture));
      }
    } catch (...) {
      next = frames.size();
      const std::lock_guard lock(taking);
      if (failure == nullptr) failure = std::current_exception();
    }
  };
  std::vector<std::thread> threads;
  threads.reserve(hands_.size());
  try {
    for (std::size_t i = 1; i < hands_.size(); ++i) threads.emplace_back(work, std::ref(*hands_[i]));
  } catch (const std::system_error&) {  // the system has no more threads: fewer do the same
  }
  work(*hands_.front());
  for (std::thread& thread : threads) thread.join();
  if (failure != nullptr) std::rethrow_exception(failure);
}

}  // namespace orvandel::stage
