// Frames on several threads of one process, each thread with a private copy of the module.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <numeric>
#include <string>
#include <vector>

#include "registrations.h"
#include "stage/loading/loaded_effect.h"
#include "stage/module/effect_module.h"
#include "stage/render/frame_crew.h"
#include "stage/scene/scene_reader.h"

namespace orvandel::bench {
namespace {

// Of all threads of this process.
double ProcessorSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void Render(benchmark::State& state, const std::string& sceneFile, int threads) {
  const auto load = [] { return stage::LoadEffect(ORVANDEL_MODULE_FILE); };
  const stage::Scene scene = stage::ReadScene(sceneFile, stage::EffectModule(load()).Catalog());
  std::vector<std::int32_t> frames(60);
  std::iota(frames.begin(), frames.end(), 60);
  stage::RenderOptions options;
  options.checkImages = false;
  const double before = ProcessorSeconds();
  for (auto run : state) {
    stage::FrameCrew crew(load, scene, options, threads);
    crew.Render(frames, [](const stage::FrameCrew::Rendered& rendered) { benchmark::DoNotOptimize(&rendered); });
  }
  state.counters["cpu_s"] = benchmark::Counter(ProcessorSeconds() - before, benchmark::Counter::kAvgIterations);
}

}  // namespace

void RegisterCrew() {
  for (const char* const scene : {"ripple", "star_burst"}) {
    for (const int threads : {1, 2}) {
      const std::string name = std::string("crew/") + scene + "/threads_" + std::to_string(threads);
      benchmark::RegisterBenchmark(
          name.c_str(),
          [=](benchmark::State& state) { Render(state, std::string(ORVANDEL_SCENES "/") + scene + ".json", threads); })
          ->Unit(benchmark::kMillisecond)
          ->UseRealTime();
    }
  }
}

}  // namespace orvandel::bench
