#include "stage/reports/wave_count.h"

#include <algorithm>
#include <cmath>

#include "stage/media/sequence_rules.h"
#include "stage/reports/emitter_values.h"

namespace orvandel::stage {
namespace {

using Counts = std::vector<std::int64_t>;  // by tick

// How many waves are born in each tick: a phase starts at 1, grows with the frequency, and gives birth whenever it
// reaches 1. The effect adds up in single precision, so the two may differ by one wave near a whole phase.
Counts BirthsIn(const EmitterValues& values, std::size_t ticks) {
  constexpr std::string_view kFrequency = "Frequency";
  constexpr double kNearly = 1 - 1e-6;
  const bool constant = values.IsConstant(kFrequency);
  double phase = 1, frequency = values.Number(kFrequency, 0);
  Counts births(ticks, 0);
  for (std::size_t tick = 0; tick < ticks; ++tick) {
    if (!constant) frequency = values.Number(kFrequency, static_cast<std::int64_t>(tick));
    phase += frequency / kTicksPerSecond;
    for (; phase >= kNearly; --phase) ++births[tick];
  }
  return births;
}

// Of one emitter.
class Census {
 public:
  Census(const EmitterValues& values, std::int64_t lastTick) : values_(values) {
    const auto size = static_cast<std::size_t>(lastTick) + 2;
    born_ = BirthsIn(values, size);
    alive_ = born_;
    for (std::size_t tick = 0; tick < size; ++tick) {
      if (born_[tick] == 0) continue;
      const std::size_t end = tick + 1 + static_cast<std::size_t>(LifespanTicks(static_cast<std::int64_t>(tick)));
      if (end < size) alive_[end] -= born_[tick];
    }
    for (std::size_t tick = 1; tick < size; ++tick) {
      born_[tick] += born_[tick - 1];
      alive_[tick] += alive_[tick - 1];
    }
  }

  // Until the end of the tick.
  std::int64_t BornBy(std::int64_t tick) const { return tick < 0 ? 0 : born_[static_cast<std::size_t>(tick)]; }

  // At some moment of the tick, at most.
  std::int64_t AliveIn(std::int64_t tick) const {
    if (tick < 0) return 0;
    if (values_.SetAtBirth(tick)) return alive_[static_cast<std::size_t>(tick)];
    return BornBy(tick) - BornBy(tick - LifespanTicks(tick) - 1);
  }

 private:
  std::int64_t LifespanTicks(std::int64_t tick) const {
    return static_cast<std::int64_t>(std::ceil(values_.Number("Lifespan (sec)", tick) * kTicksPerSecond));
  }

  const EmitterValues& values_;
  Counts born_, alive_;
};

}  // namespace

WaveCount CountWaves(const Scene& scene, const ParamCatalog& catalog, const std::vector<std::int32_t>& frames) {
  const std::int32_t unitsPerTick = scene.time.timeScale / static_cast<std::int32_t>(kTicksPerSecond);
  // The last tick that is run, whole or in part, on the way to a frame; -1 for time 0.
  const auto tickOf = [&](std::int32_t frame) {
    return (std::int64_t{scene.time.TimeOfFrame(frame)} + unitsPerTick - 1) / unitsPerTick - 1;
  };
  const std::int64_t lastTick = std::max<std::int64_t>(0, tickOf(*std::max_element(frames.begin(), frames.end())));
  Counts alive(frames.size(), 0), held(frames.size(), 0);
  for (const Emitter& emitter : scene.emitters) {
    const EmitterValues values(scene, emitter, catalog);
    const Census census(values, lastTick);
    // Whether a source moves is known only once it is opened; assumed here.
    const bool fresh = NeedsFreshSequences(scene, emitter, catalog, [](std::int32_t) { return true; });
    std::int64_t before = -1;  // of the frame drawn before
    for (std::size_t i = 0; i < frames.size(); ++i) {
      const std::int64_t tick = tickOf(frames[i]);
      alive[i] += census.AliveIn(tick);
      const bool goesOn = !fresh && before >= 0 && before <= tick;
      held[i] += census.BornBy(tick) - (goesOn ? census.BornBy(before) - census.AliveIn(before) : 0);
      before = tick;
    }
  }
  const auto mostAlive = std::max_element(alive.begin(), alive.end());
  const auto mostHeld = std::max_element(held.begin(), held.end());
  return {*mostAlive, frames[static_cast<std::size_t>(mostAlive - alive.begin())], *mostHeld,
          frames[static_cast<std::size_t>(mostHeld - held.begin())]};
}

}  // namespace orvandel::stage
