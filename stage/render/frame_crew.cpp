#include "stage/render/frame_crew.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "stage/module/effect_module.h"

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

void FrameCrew::Each(std::size_t count, const Work& work) {
  std::atomic<std::size_t> next = 0;
  std::mutex failing;
  std::exception_ptr failure;
  const auto lend = [&](Hand& hand) {
    try {
      for (std::size_t place = next++; place < count; place = next++) work(hand.renderer, place);
    } catch (...) {
      next = count;
      const std::lock_guard lock(failing);
      if (failure == nullptr) failure = std::current_exception();
    }
  };
  std::vector<std::thread> threads;
  threads.reserve(hands_.size());
  try {
    for (std::size_t i = 1; i < hands_.size(); ++i) threads.emplace_back(lend, std::ref(*hands_[i]));
  } catch (const std::system_error&) {  // the system has no more threads: fewer do the same
  }
  lend(*hands_.front());
  for (std::thread& thread : threads) thread.join();
  if (failure != nullptr) std::rethrow_exception(failure);
}

void FrameCrew::Render(std::span<const std::int32_t> frames, const Take& take) {
  std::mutex taking;
  std::condition_variable changed;
  std::size_t turn = 0;
  bool failed = false;
  const auto fail = [&] {
    const std::lock_guard lock(taking);
    failed = true;
    changed.notify_all();
  };
  Each(frames.size(), [&](SceneRenderer& renderer, std::size_t place) {
    try {
      const auto start = std::chrono::steady_clock::now();
      Rendered rendered{frames[place], renderer.Render(frames[place])};
      rendered.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      rendered.waves = renderer.WaveCount();
      std::unique_lock lock(taking);
      changed.wait(lock, [&] { return turn == place || failed; });
      if (failed) return;
      take(std::move(rendered));
      ++turn;
      changed.notify_all();
    } catch (...) {
      fail();
      throw;
    }
  });
}

}  // namespace orvandel::stage
