// Whole frames as a host asks for them: jumps, the check of the cached parameters, late frames of long scenes, frame
// rates between the ticks, and star shapes that are hard to draw.

#include <benchmark/benchmark.h>

#include <functional>
#include <memory>

#include "frame_host.h"
#include "registrations.h"

namespace orvandel::bench {
namespace {

using Settings = std::function<void(test::FakeHost&)>;

// 30 rings at any time after the tenth second, up to radius 900; alike every ten ticks.
void SetRings(test::FakeHost& host) {
  host.SetFixed(kFrequency, 3);
  host.SetFixed(kLifespan, 10);
  host.SetFixed(kFadeOutTime, 0);
  host.SetFixed(kExpansion, 3);
}

// 200 stars at any time after the tenth second, each turned two degrees more than the one before.
void SetStars(test::FakeHost& host, double depth) {
  SetRings(host);
  host.SetWord(kStar, 1);
  host.SetWord(kSides, 5);
  host.SetFixed(kStarDepth, depth);
  host.SetFixed(kFrequency, 20);
  host.SetFixed(kSpin, 40);
  host.SetFixed(kStartWidth, 8);
  host.SetFixed(kEndWidth, 8);
}

void SetNothingBorn(test::FakeHost& host) { host.SetFixed(kFrequency, 0); }

// A value of its own at every tick, so that the cache holds an entry a tick.
void MoveProducer(test::FakeHost& host) {
  host.SetValue(kProducerPoint, [](std::int32_t hostTime, OrvParamDef& definition) {
    definition.value.point.x = hostTime;
    definition.value.point.y = -hostTime;
  });
}

void Draw(benchmark::State& state, test::FakeHost& host, std::int32_t hostTime) {
  if (host.Render(hostTime) != 0) state.SkipWithError("the frame failed");
}

// The first frame of a fresh sequence lies `ticks` after its start.
void Jump(benchmark::State& state, std::int32_t ticks, const Settings& settings) {
  FrameHost frames(kTiny, 3600);
  settings(frames.host);
  for (auto frame : state) {
    frames.ForgetSequence();
    Draw(state, frames.host, ticks * kUnitsPerTick);
  }
}

// The same frame again, without waves: what remains is finding out that no value has changed.
void CheckCache(benchmark::State& state, std::int32_t minute, bool stamp, const Settings& settings) {
  FrameHost frames(kTiny, 3700);
  settings(frames.host);
  if (stamp) frames.host.changeStamp = 1;
  const std::int32_t hostTime = minute * 1800 * kUnitsPerTick;
  Draw(state, frames.host, hostTime);
  for (auto frame : state) Draw(state, frames.host, hostTime);
}

// Frames from number `first` on, one after the other.
void Play(benchmark::State& state, std::int32_t first, std::int32_t unitsPerFrame, bool stamp,
          const Settings& settings) {
  FrameHost frames(kFullHd, 600);
  settings(frames.host);
  if (stamp) frames.host.changeStamp = 1;
  std::int32_t number = first;
  Draw(state, frames.host, unitsPerFrame * number++);
  Draw(state, frames.host, unitsPerFrame * number++);  // the first one draws what died on the way
  polls = 0;
  for (auto frame : state) Draw(state, frames.host, unitsPerFrame * number++);
  state.counters["polls"] = benchmark::Counter(static_cast<double>(polls), benchmark::Counter::kAvgIterations);
}

template <typename Function, typename... Arguments>
benchmark::internal::Benchmark* Register(const std::string& name, Function function, Arguments... arguments) {
  return benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) { function(state, arguments...); })
      ->Unit(benchmark::kMillisecond);
}

void RegisterChecks() {
  const Settings moving = [](test::FakeHost& host) {
    SetNothingBorn(host);
    MoveProducer(host);
  };
  for (const std::int32_t minute : {1, 60}) {
    for (const bool stamp : {false, true}) {
      const std::string end = "/minute_" + std::to_string(minute) + (stamp ? "/stamp" : "");
      Register("cache_check/still" + end, CheckCache, minute, stamp, Settings(SetNothingBorn));
      Register("cache_check/moving" + end, CheckCache, minute, stamp, moving);
    }
  }
}

void RegisterLateFrames() {
  constexpr std::int32_t kFrames = 60;  // what lies between the last start and the scene's end
  for (const bool stamp : {false, true}) {
    const std::string name = std::string("ten_minutes") + (stamp ? "/stamp" : "");
    Register(name + "/first", Play, 300, kUnitsPerTick, stamp, Settings(SetRings))->Iterations(kFrames);
    Register(name + "/last", Play, 18000 - kFrames - 2, kUnitsPerTick, stamp, Settings(SetRings))->Iterations(kFrames);
  }
}

}  // namespace

void RegisterSimulation() {
  for (const std::int32_t ticks : {10000, 100000}) {
    const std::string end = "/" + std::to_string(ticks);
    Register("jump/still" + end, Jump, ticks, Settings([](test::FakeHost&) {}));
    Register("jump/moving" + end, Jump, ticks, Settings(MoveProducer));
  }
  RegisterChecks();
  RegisterLateFrames();
  for (const double depth : {-0.5, -1.0}) {
    const std::string name = depth == -1 ? "star/depth_-1" : "star/depth_-0.5";
    for (const std::int32_t rows : {0, 256}) {
      const Settings stars = [depth, rows](test::FakeHost& host) {
        SetStars(host, depth);
        host.rowsBetweenReports = rows;
      };
      Register(rows == 0 ? name : name + "/interval", Play, 300, kUnitsPerTick, true, stars);
    }
  }
  Register("rings/fps_30", Play, 300, kUnitsPerTick, true, Settings(SetRings));
  Register("rings/fps_29.97", Play, 300, kUnitsPerNtscFrame, true, Settings(SetRings));
}

}  // namespace orvandel::bench
