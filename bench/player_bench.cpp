// What editors do: play, scrub backward far from the start, and call from eight threads with an instance each.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "plugins/bridge/player.h"
#include "registrations.h"

namespace orvandel::bench {
namespace {

constexpr int kWidth = 1920, kHeight = 1080, kFrames = 60, kThreads = 8;

struct Clip {
  bridge::Player player;
  bridge::FrameRequest request{
      .look = bridge::Look::Open(ORVANDEL_SCENES "/ripple.json"), .width = kWidth, .height = kHeight};
  std::vector<std::uint8_t> picture = std::vector<std::uint8_t>(std::size_t{kWidth} * kHeight * 4);

  void Show(double seconds) {
    request.seconds = seconds;
    player.Render(request, {picture.data(), std::ptrdiff_t{kWidth} * 4});
  }
  // The frames of two seconds from `from` on, or back to it.
  void Play(double from, bool backward) {
    for (int i = 0; i < kFrames; ++i) Show(from + (backward ? kFrames - 1 - i : i) / 30.0);
  }
};

void Scrub(benchmark::State& state, bool backward) {
  constexpr double kTenMinutes = 600;
  Clip clip;
  clip.Show(kTenMinutes);
  for (auto run : state) {
    state.PauseTiming();
    clip.Show(backward ? kTenMinutes + kFrames / 30.0 : kTenMinutes - 1 / 30.0);
    state.ResumeTiming();
    clip.Play(kTenMinutes, backward);
  }
}

// Each thread has kFrames of its own clip to play.
void PlayTogether(benchmark::State& state, int threads) {
  std::vector<Clip> clips(static_cast<std::size_t>(kThreads));
  for (auto run : state) {
    std::vector<std::thread> hands;
    for (int t = 0; t < threads; ++t) {
      hands.emplace_back([&, t] {
        for (std::size_t i = static_cast<std::size_t>(t); i < clips.size(); i += static_cast<std::size_t>(threads)) {
          clips[i].Play(2, false);
        }
      });
    }
    for (std::thread& hand : hands) hand.join();
  }
}

template <typename Work>
void Register(const std::string& name, const Work& work) {
  benchmark::RegisterBenchmark(("player/" + name).c_str(), work)->Unit(benchmark::kMillisecond)->UseRealTime();
}

}  // namespace

void RegisterPlayers() {
  Register("ripple/forward", [](benchmark::State& state) { Scrub(state, false); });
  Register("ripple/backward", [](benchmark::State& state) { Scrub(state, true); });
  for (const int threads : {1, 2, kThreads}) {
    Register("ripple/threads_" + std::to_string(threads),
             [threads](benchmark::State& state) { PlayTogether(state, threads); });
  }
}

}  // namespace orvandel::bench
