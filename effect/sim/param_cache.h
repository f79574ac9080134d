// The parameter-value cache: the animated parameters' values over time, as runs of equal values. One entry at tick 0
// and one at every tick where a value differs from the entry before it. Where the host keeps states to go on from and
// promises that no value has changed since, the cache may begin at the tick of such a state instead.
//
// Every command that simulates first checks the cache against the host's values and rebuilds it from the first tick
// where they differ; what was simulated at or after that tick is dropped.
//
// Byte form (all integers 32 bits, r restart ids, a animated ids, E entries; packed):
//   r | r ids | u8 flag | flag = 1: 8r restart values | a | maxParamId | a ids | 8a | E | E x { f64 time, 8a keys }
#pragma once

#include <cstdint>

#include "effect/sim/stepper.h"

namespace orvandel {

// Fills simParams at host time 0 and checks the cache, unless the host says to stop.
void LoadSimParams(Stepper& stepper);

void ValidateCache(Stepper& stepper);
void RebuildCacheFrom(Stepper& stepper, double from);
// Before stepping from a tick: a cache that begins later begins there.
void HoldValuesFrom(Stepper& stepper, double tick);
bool NeedsRestart(Stepper& stepper);
// The first whole tick in from .. to at which a value differs from `keys`; the first one above `to` when none does.
double FindFirstChange(Stepper& stepper, KeyBytes keys, double from, double to);
// The values at a tick, in a buffer that the stepper owns.
KeyBytes SampleAnimated(Stepper& stepper, double tick);

// Puts an entry's values into simValues.
void LoadEntry(Stepper& stepper, const CacheEntry& entry);

// The block's size in bytes, in 64 bits.
std::uint64_t CacheBlockSize(const Stepper& stepper);
void WriteCacheBlock(const Stepper& stepper, std::uint8_t* block);
// Entry keys stay in place inside the block.
void ReadCacheBlock(Stepper& stepper, const std::uint8_t* block);

}  // namespace orvandel
