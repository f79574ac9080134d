#include "cli/waves/wave_count.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "cli/waves/births.h"
#include "stage/base/errors.h"
#include "stage/media/sequence_rules.h"

namespace orvandel::cli {
namespace {

using Counts = std::vector<std::int64_t>;  // by tick

// Of one emitter.
class Census {
 public:
  Census(const EmitterValues& values, std::int64_t lastTick) : values_(values) {
    const auto size = static_cast<std::size_t>(lastTick) + 2;
    born_.assign(size, 0);
    alive_.assign(size, 0);
    ForEachTick(values, static_cast<double>(lastTick) + 1, [&](const TickBirths& births) { Enter(births); });
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

  void Enter(const TickBirths& births) {
    const auto tick = static_cast<std::size_t>(births.tick);
    if (births.count == 0) return;
    born_[tick] += births.count;
    alive_[tick] += births.count;
    const std::size_t end = tick + 1 + static_cast<std::size_t>(LifespanTicks(births.tick));
    if (end < alive_.size()) alive_[end] -= births.count;
  }

  const EmitterValues& values_;
  Counts born_, alive_;
};

}  // namespace

WaveCount CountWaves(const stage::Scene& scene, const stage::ParamCatalog& catalog,
                     const std::vector<std::int32_t>& frames) {
  const std::int32_t unitsPerTick = scene.time.timeScale / static_cast<std::int32_t>(kTicksPerSecond);
  // The last tick that is run, whole or in part, on the way to a frame; -1 for time 0.
  const auto tickOf = [&](std::int32_t frame) {
    return (std::int64_t{scene.time.TimeOfFrame(frame)} + unitsPerTick - 1) / unitsPerTick - 1;
  };
  const std::int64_t lastTick = std::max<std::int64_t>(0, tickOf(*std::max_element(frames.begin(), frames.end())));
  Counts alive(frames.size(), 0), held(frames.size(), 0);
  for (const stage::Emitter& emitter : scene.emitters) {
    const EmitterValues values(scene, emitter, catalog);
    const Census census(values, lastTick);
    // Whether a source moves is known only to those who open it: taken for granted here.
    const bool fresh = stage::NeedsFreshSequences(scene, emitter, catalog, [](std::int32_t) { return true; });
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

void RefuseTooManyWaves(const stage::Scene& scene, const WaveCount& waves, std::int64_t maxWaves) {
  if (waves.held <= maxWaves) return;
  throw stage::InputError(fmt::format(
      "{}: frame {} needs up to {} waves at once, more than the {} that --max-waves allows; lower Frequency "
      "or Lifespan, or raise --max-waves",
      scene.file.string(), waves.heldFrame, waves.held, maxWaves));
}

}  // namespace orvandel::cli
