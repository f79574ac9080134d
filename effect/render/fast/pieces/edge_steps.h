// Many steps of an edge at once, where that is exact.
//
// A value v changes by d from row to row, each addition rounded. While v stays between two powers of two, all numbers
// there are multiples of one unit U, and v + d comes to v + D with the multiple D of U that is nearest to d, whatever v
// is: n steps come to v + n D, which a double holds exactly. It must not be in doubt which multiple is the nearest, and
// a power of two must not be reached by rounding: below it the unit is half as large. Everything else is stepped.
#pragma once

#include <cstdint>

#include "effect/render/simd/lanes.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

inline std::int32_t BitsOf(float v) {
  std::int32_t bits;
  __builtin_memcpy(&bits, &v, sizeof bits);
  return bits;
}

inline constexpr std::int32_t kFraction = 0x007FFFFF, kExponent = 0x7F800000, kHalfUnitBelow = 24 << 23;

// Whether n steps of d lead from v to v + n D in one stretch; then `v` is moved.
inline bool LeapRows(float& v, float d, std::int32_t n) {
  const float step = (v + d) - v;
  const double exact = static_cast<double>(v) + static_cast<double>(n) * static_cast<double>(step);
  const auto end = static_cast<float>(exact);
  if (static_cast<double>(end) != exact || ((BitsOf(v) ^ BitsOf(end)) & ~kFraction) != 0) return false;
  const float rest = d - step;
  if (rest != 0.0F) {
    const std::int32_t halfUnitBits = (BitsOf(v) & kExponent) - kHalfUnitBelow;
    float halfUnit;
    __builtin_memcpy(&halfUnit, &halfUnitBits, sizeof halfUnit);
    if (!(rest < halfUnit && -rest < halfUnit) || (BitsOf(end) & kFraction) == 0) return false;
  }
  v = end;
  return true;
}

// v after `rows` additions of d.
inline void StepRows(float& v, float d, std::int32_t rows) {
  constexpr std::int32_t kShortest = 16;  // fewer are added faster than asked about
  while (rows >= kShortest) {
    std::int32_t leap = rows;
    while (leap >= kShortest && !LeapRows(v, d, leap)) leap /= 2;
    if (leap < kShortest) {
      leap = kShortest;
      for (std::int32_t i = 0; i < leap; ++i) v += d;
    }
    rows -= leap;
  }
  for (; rows > 0; --rows) v += d;
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS
