// The sRGB curve from stored values to linear light, both 0..1.
#pragma once

#include <cmath>

namespace orvandel::stage {

inline double LinearLight(double stored) {
  return stored <= 0.04045 ? stored / 12.92 : std::pow((stored + 0.055) / 1.055, 2.4);
}

}  // namespace orvandel::stage
