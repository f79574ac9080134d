// Simulation time: ticks of exactly 1/30 second, as 64-bit floats, whatever the host's frame rate.
#pragma once

#include <cmath>
#include <cstdint>

namespace orvandel {

inline constexpr double kTicksPerSecond = 30.0;

// 19 hours. The parameters are read at every tick up to the frame before the first abort check, so a time far beyond
// any film (2^31 seconds, say) would block the host for hours. Later frames are refused.
inline constexpr double kLatestTick = 2097152;
// 2.4 hours: how far past the frame the search for a parameter's next change goes. For the same reason.
inline constexpr double kFarthestLookAhead = 262144;

// Host units to ticks: the product first, then one division. 0 for a time scale that is not positive.
inline double TicksOf(std::int32_t hostTime, std::int32_t timeScale) {
  if (timeScale <= 0) return 0;
  return static_cast<double>(hostTime) * kTicksPerSecond / static_cast<double>(timeScale);
}

}  // namespace orvandel
