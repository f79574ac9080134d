// Simulation time: ticks of exactly 1/30 second, as 64-bit floats, whatever the host's frame rate.
#pragma once

#include <cmath>
#include <cstdint>

namespace orvandel {

inline constexpr double kTicksPerSecond = 30.0;

// Host units to ticks: the product first, then one division. 0 for a time scale that is not positive.
inline double TicksOf(std::int32_t hostTime, std::int32_t timeScale) {
  if (timeScale <= 0) return 0;
  return static_cast<double>(hostTime) * kTicksPerSecond / static_cast<double>(timeScale);
}

}  // namespace orvandel
