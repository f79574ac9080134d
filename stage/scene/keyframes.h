// Values over time: which keys a time lies between, how far along, and the value at that time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// Host units to seconds, in double: the one conversion that every look-up uses.
inline double SecondsOf(std::int32_t hostTime, std::int32_t timeScale) {
  return static_cast<double>(hostTime) / static_cast<double>(timeScale);
}

// Between keys[key] and keys[key + 1]; before the first and after the last key, at a key alone (fraction 0).
struct KeySpan {
  std::size_t key = 0;
  double fraction = 0;  // of the time between the two, not eased yet
  bool operator==(const KeySpan&) const = default;
};

// Constant time for one key, else a binary search. `keys` has at least one element with a `time` in seconds.
template <typename AnyKey>
KeySpan SpanAt(const std::vector<AnyKey>& keys, double seconds) {
  if (keys.size() == 1 || seconds <= keys.front().time) return {0, 0};
  if (seconds >= keys.back().time) return {keys.size() - 1, 0};
  std::size_t low = 0, high = keys.size() - 1;  // keys[low].time <= seconds < keys[high].time
  while (high - low > 1) {
    const std::size_t middle = low + (high - low) / 2;
    (keys[middle].time <= seconds ? low : high) = middle;
  }
  const double t0 = keys[low].time, t1 = keys[high].time;
  return {low, (seconds - t0) / (t1 - t0)};
}

// How far the value has gone when the time has gone `fraction` (0..1) of the way: the fraction itself (linear), 0
// (hold), or the y of the curve from (0, 0) to (1, 1) where its x is the fraction; y may lie outside 0..1.
double Eased(const Easing& easing, double fraction);

// The value of a track with keys. Popups, checkboxes, layers and masks hold. Eased numbers stay in the registered
// range, colours in 0..255.
Value ValueAt(const Track& track, const ParamInfo& info, double seconds);

}  // namespace orvandel::stage
