#include "effect/sim/param_cache.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "effect/base/float_rules.h"
#include "effect/params/param_slot.h"
#include "effect/sim/resume_points.h"
#include "effect/sim/ticks.h"

namespace orvandel {
namespace {

// Host time of a tick for the cache. Stepping rounds differently (seconds first), so the two differ by one unit on some
// ticks; hosts allow for that by looking pictures up one unit late.
std::int32_t HostTimeOfTick(const Stepper& stepper, double tick) {
  return TruncateToInt(static_cast<double>(stepper.context->inRecord->timeScale) * tick / 30.0);
}

ParamSlot& SimParam(Stepper& stepper, std::int32_t id) { return stepper.simParams[static_cast<std::size_t>(id)]; }
ParamValue& SimValue(Stepper& stepper, std::int32_t id) { return stepper.simValues[static_cast<std::size_t>(id)]; }

// Copies the call's slot of the parameter and reads it at host time 0.
void StartSlot(Stepper& stepper, std::int32_t id) {
  const ParamSlot& current = FilledSlot(*stepper.context, id);
  ParamSlot& slot = SimParam(stepper, id);
  slot.definition = current.definition;
  slot.owner = current.owner;
  slot.hostIndex = current.hostIndex;
  slot.sampleTime = current.sampleTime;
  slot.filled = true;
  slot.answered = current.answered;
  SampleAt(slot, 0);
  SimValue(stepper, id) = ValueOf(slot);
}

// Drops what was simulated with values that no longer hold: at tick `f` and later, and at a fraction of a tick just
// before, since the step across that fraction already looked at the values of tick f.
void DropSimulationFrom(Stepper& stepper, double f) {
  const bool atFraction = stepper.time != std::floor(stepper.time);
  if (stepper.time >= f || (atFraction && stepper.time > f - 1)) DiscardList(stepper);
  if (stepper.snapshotTime >= f) DiscardSnapshot(stepper);
}

void StoreRestartValues(Stepper& stepper) {
  stepper.restartValues.resize(stepper.restartIds.size());
  for (std::size_t i = 0; i < stepper.restartIds.size(); ++i) {
    stepper.restartValues[i] = KeyOf(SimParam(stepper, stepper.restartIds[i]));
  }
}

// Where the search for the next change ends: at the end of the layer, so that constant values are searched once; on
// very long layers earlier. A frame depends on no entry beyond the tick that follows it.
double SearchEnd(const Stepper& stepper) {
  return std::min(stepper.durationTicks, stepper.target + kFarthestLookAhead);
}

void RemoveEntriesFrom(Stepper& stepper, double f) {
  auto& entries = stepper.cacheEntries;
  entries.erase(std::find_if(entries.begin(), entries.end(), [f](const CacheEntry& e) { return e.time >= f; }),
                entries.end());
}

// A cache that begins at a tick instead of one whose values no longer hold, or that does not reach back to it.
void StartCache(Stepper& stepper, double tick) {
  DropSimulationFrom(stepper, 0);
  stepper.cacheEntries.clear();
  RebuildCacheFrom(stepper, tick);
}

// Whether the host promises that nothing has changed since the cache was last checked; then ticks before checkedTo are
// not checked again. Asking costs as much as checking some ticks, so short sequences do not ask, unless the picture
// that they would fingerprint is large.
bool RenewStamp(Stepper& stepper) {
  constexpr double kTicksWorthAsking = 128;
  constexpr std::int64_t kPixelsWorthAsking = 1 << 16;
  const ImageBuffer& input = stepper.context->input;
  const bool isWorth =
      stepper.target >= kTicksWorthAsking || std::int64_t{input.width} * input.height >= kPixelsWorthAsking;
  const std::uint64_t stamp = isWorth ? stepper.context->ChangeStamp() : 0;
  const bool unchanged = stamp != 0 && stamp == stepper.stamp;
  stepper.stamp = stamp;
  return unchanged;
}

// Where a cache without entries begins: at the state that the frame can be reached from, if the host keeps one and
// promises that no value has changed since. A sequence that starts far out then reads no tick before it.
double FirstTickNeeded(Stepper& stepper) {
  return stepper.stamp == 0 ? 0 : std::max(LatestResumeTick(stepper, std::floor(stepper.target)), 0.0);
}

// The entry that applies at a tick, which is not before the first one's.
std::size_t EntryAt(const Stepper& stepper, double tick) {
  const auto& entries = stepper.cacheEntries;
  const auto after = std::partition_point(entries.begin(), entries.end(),
                                          [tick](const CacheEntry& entry) { return entry.time <= tick; });
  return static_cast<std::size_t>(after - entries.begin()) - 1;
}

}  // namespace

void LoadSimParams(Stepper& stepper) {
  for (const std::int32_t id : stepper.animatedIds) StartSlot(stepper, id);
  for (const std::int32_t id : stepper.restartIds) StartSlot(stepper, id);
  stepper.abortCode = stepper.context->CheckAbort();
  if (stepper.abortCode == 0) ValidateCache(stepper);
}

bool NeedsRestart(Stepper& stepper) {
  if (stepper.restartValues.empty()) return true;
  for (std::size_t i = 0; i < stepper.restartIds.size(); ++i) {
    if (!SameValue(SimParam(stepper, stepper.restartIds[i]), stepper.restartValues[i])) return true;
  }
  return false;
}

void ValidateCache(Stepper& stepper) {
  const bool unchanged = RenewStamp(stepper);
  // A cache without entries has no restart values either: both come with the first rebuild. What a cache that begins
  // late does not know cannot be checked.
  const bool beginsLate = !stepper.cacheEntries.empty() && stepper.cacheEntries.front().time > 0;
  if (!unchanged && (beginsLate || NeedsRestart(stepper))) {
    StartCache(stepper, FirstTickNeeded(stepper));
    return;
  }
  const double limit = stepper.target + 1;
  double from = unchanged ? stepper.checkedTo : 0;
  for (std::size_t i = EntryAt(stepper, from); from < limit; ++i) {
    const bool hasNext = i + 1 < stepper.cacheEntries.size();
    const double to = hasNext ? std::min(stepper.cacheEntries[i + 1].time - 1, limit) : limit;
    from = FindFirstChange(stepper, stepper.cacheEntries[i].keys, from, to);
    if (from <= to && from < limit) {
      RebuildCacheFrom(stepper, from);
      return;
    }
    stepper.checkedTo = from;
  }
}

double FindFirstChange(Stepper& stepper, KeyBytes keys, double from, double to) {
  double tick = from;
  for (; tick <= to; tick += 1) {
    const std::int32_t hostTime = HostTimeOfTick(stepper, tick);
    for (std::size_t i = 0; i < stepper.animatedIds.size(); ++i) {
      ParamSlot& slot = SimParam(stepper, stepper.animatedIds[i]);
      SampleAt(slot, hostTime);
      if (!SameValue(slot, KeyAt(keys, i))) return tick;
    }
  }
  return tick;
}

void HoldValuesFrom(Stepper& stepper, double tick) {
  if (stepper.cacheEntries.front().time > tick) StartCache(stepper, tick);
}

void RebuildCacheFrom(Stepper& stepper, double from) {
  const double f = std::floor(from);
  DropSimulationFrom(stepper, f);
  stepper.cacheDirty = true;
  RemoveEntriesFrom(stepper, f);
  if (stepper.cacheEntries.empty()) StoreRestartValues(stepper);
  for (double tick = f; tick < stepper.target + 1; tick += 1) {
    if (!stepper.cacheEntries.empty()) {
      tick = FindFirstChange(stepper, stepper.cacheEntries.back().keys, tick, SearchEnd(stepper));
    }
    const KeyBytes keys = SampleAnimated(stepper, tick);
    stepper.cacheEntries.push_back({keys, stepper.KeyBytesPerEntry(), tick});
    stepper.checkedTo = tick + 1;
  }
}

KeyBytes SampleAnimated(Stepper& stepper, double tick) {
  std::uint8_t* const keys = stepper.ownedBuffers.emplace_back(stepper.KeyBytesPerEntry()).data();
  const std::int32_t hostTime = HostTimeOfTick(stepper, tick);
  for (std::size_t i = 0; i < stepper.animatedIds.size(); ++i) {
    ParamSlot& slot = SimParam(stepper, stepper.animatedIds[i]);
    SampleAt(slot, hostTime);
    const ValueKey key = KeyOf(slot);
    std::memcpy(keys + i * kValueKeyBytes, &key, kValueKeyBytes);
  }
  return keys;
}

void LoadEntry(Stepper& stepper, const CacheEntry& entry) {
  for (std::size_t i = 0; i < stepper.animatedIds.size(); ++i) {
    const std::int32_t id = stepper.animatedIds[i];
    SimValue(stepper, id) = ValueFrom(SimParam(stepper, id), KeyAt(entry.keys, i));
  }
}

std::uint64_t CacheBlockSize(const Stepper& stepper) {
  const std::uint64_t restarts = stepper.restartIds.size();
  const std::uint64_t animated = stepper.animatedIds.size();
  const std::uint64_t entryBytes = 8 + kValueKeyBytes * animated;
  return 4 + 4 * restarts + 1 + (stepper.restartValues.empty() ? 0 : kValueKeyBytes * restarts) + 8 + 4 * animated + 8 +
         stepper.cacheEntries.size() * entryBytes;
}

void WriteCacheBlock(const Stepper& stepper, std::uint8_t* block) {
  const auto put = [&block](const void* bytes, std::size_t count) {
    if (count > 0) std::memcpy(block, bytes, count);
    block += count;
  };
  const auto putWord = [&put](std::uint64_t value) {
    const auto word = static_cast<std::uint32_t>(value);
    put(&word, sizeof(word));
  };
  putWord(stepper.restartIds.size());
  put(stepper.restartIds.data(), stepper.restartIds.size() * 4);
  const std::uint8_t flag = stepper.restartValues.empty() ? 0 : 1;
  put(&flag, 1);
  put(stepper.restartValues.data(), stepper.restartValues.size() * kValueKeyBytes);
  putWord(stepper.animatedIds.size());
  putWord(static_cast<std::uint32_t>(stepper.maxParamId));
  put(stepper.animatedIds.data(), stepper.animatedIds.size() * 4);
  putWord(stepper.KeyBytesPerEntry());
  putWord(stepper.cacheEntries.size());
  for (const CacheEntry& entry : stepper.cacheEntries) {
    put(&entry.time, sizeof(entry.time));
    put(entry.keys, entry.byteCount);
  }
}

void ReadCacheBlock(Stepper& stepper, const std::uint8_t* block) {
  const auto take = [&block](void* bytes, std::size_t count) {
    if (count > 0) std::memcpy(bytes, block, count);
    block += count;
  };
  const auto takeWord = [&take]() {
    std::uint32_t word;
    take(&word, sizeof(word));
    return word;
  };
  stepper.restartIds.resize(takeWord());
  take(stepper.restartIds.data(), stepper.restartIds.size() * 4);
  std::uint8_t flag;
  take(&flag, 1);
  if (flag == 1) {
    stepper.restartValues.resize(stepper.restartIds.size());
    take(stepper.restartValues.data(), stepper.restartValues.size() * kValueKeyBytes);
  }
  stepper.animatedIds.resize(takeWord());
  stepper.maxParamId = static_cast<std::int32_t>(takeWord());
  take(stepper.animatedIds.data(), stepper.animatedIds.size() * 4);
  const std::uint32_t keyBytes = takeWord();
  stepper.cacheEntries.resize(takeWord());
  for (CacheEntry& entry : stepper.cacheEntries) {
    take(&entry.time, sizeof(entry.time));
    entry.keys = block;
    entry.byteCount = keyBytes;
    block += keyBytes;
  }
}

}  // namespace orvandel
