// When waves are born: the effect's rule of emission, told again from a scene's Frequency alone.
//
// A phase starts at 1, so the first wave is born at time 0. In each tick it grows by frequency x 1/30 s; every time it
// reaches 1 a wave is born and 1 is taken away. Births lie inside the tick: the first after (1 - phase) / frequency,
// the next ones a period apart.
#pragma once

#include <cstdint>
#include <functional>

#include "cli/waves/emitter_values.h"

namespace orvandel::cli {

// For every tick from 0 that begins before `endTicks`: how many waves are born in it, the tick's first birth and the
// period between births, both in seconds. The last tick may be a part of one.
struct TickBirths {
  std::int64_t tick = 0;
  std::int64_t count = 0;
  double firstSeconds = 0;  // from time 0
  double periodSeconds = 0;
  float firstAge = 0;  // seconds that are left of the tick after the first birth, rounded as the effect does
};
void ForEachTick(const EmitterValues& values, double endTicks, const std::function<void(const TickBirths&)>& visit);

}  // namespace orvandel::cli
