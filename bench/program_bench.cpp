// The program from its start to its end: sixty frames of an example scene as pictures, with one process and with two.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <filesystem>
#include <string>
#include <vector>

#include "registrations.h"

extern char** environ;

namespace orvandel::bench {
namespace {

constexpr const char* kFrames = "60-119";

// Runs the program without output; false when it fails.
bool RunProgram(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), ORVANDEL_PROGRAM);
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  pid_t child = 0;
  if (posix_spawn(&child, ORVANDEL_PROGRAM, nullptr, nullptr, pointers.data(), environ) != 0) return false;
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Of all processes that have ended.
double ProcessorSeconds() {
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void Render(benchmark::State& state, const std::string& scene, const std::string& end, int jobs) {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("orvandel_bench_" + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  const double before = ProcessorSeconds();
  for (auto run : state) {
    if (!RunProgram({"render", ORVANDEL_SCENES "/" + scene + ".json", "-o", (folder / ("frame" + end)).string(),
                     "--frames", kFrames, "--jobs", std::to_string(jobs), "--background", "#000000", "--overwrite",
                     "--quiet"})) {
      state.SkipWithError("the program failed");
    }
  }
  state.counters["cpu_s"] = benchmark::Counter(ProcessorSeconds() - before, benchmark::Counter::kAvgIterations);
  std::filesystem::remove_all(folder);
}

}  // namespace

void RegisterProgram() {
  for (const char* const scene : {"ripple", "star_burst"}) {
    for (const int jobs : {1, 2}) {
      const std::string name = std::string("program/") + scene + "/jobs_" + std::to_string(jobs);
      benchmark::RegisterBenchmark(name.c_str(),
                                   [=](benchmark::State& state) { Render(state, scene, ".####.png", jobs); })
          ->Unit(benchmark::kMillisecond)
          ->UseRealTime();
    }
  }
}

}  // namespace orvandel::bench
