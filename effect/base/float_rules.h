// The arithmetic that pixels depend on: every operation rounds once, to the type it is written in.
//
// The same frame must give the same bytes everywhere, so the effect refuses compilers that keep more precision than the
// source asks for or that reorder arithmetic. Fused multiply-add is off in the build (-ffp-contract=off): contraction
// alone changes a third of all strokes. Single-precision sine, cosine and exponential are the double ones of
// elementary.h, rounded.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>

#include "effect/base/elementary.h"

#if defined(__FAST_MATH__)
#error "the effect's arithmetic must not be reordered: build without -ffast-math"
#endif
#if FLT_EVAL_METHOD != 0
#error "the effect needs float and double arithmetic in their own precision (no x87)"
#endif

namespace orvandel {

inline float SinF(float x) { return static_cast<float>(Sine(static_cast<double>(x))); }
inline float CosF(float x) { return static_cast<float>(Cosine(static_cast<double>(x))); }
inline float ExpF(float x) { return static_cast<float>(Exponential(static_cast<double>(x))); }

// The one way from floating point to integers: truncates toward zero, saturates, NaN gives 0.
template <typename Integer>
inline Integer TruncateTo(double value) {
  constexpr double kLowest = static_cast<double>(std::numeric_limits<Integer>::min());
  // The largest value may round up to a power of two as a double: compare with >=.
  constexpr double kBeyond = static_cast<double>(std::numeric_limits<Integer>::max());
  if (!(value == value)) return 0;
  if (value <= kLowest) return std::numeric_limits<Integer>::min();
  if (value >= kBeyond) return std::numeric_limits<Integer>::max();
  return static_cast<Integer>(value);
}

inline std::int32_t TruncateToInt(double value) { return TruncateTo<std::int32_t>(value); }

// Degrees to radians as the effect reduces every angle: 0 <= result, single precision.
// `degrees` has been taken modulo 360 already and keeps its sign.
inline float RadiansFromReduced(float degrees) {
  if (degrees < 0) degrees += 360.0F;
  return degrees * 0.017453292F;
}

// A ratio of host words as a double; the denominator 0 gives infinity or NaN.
template <typename Ratio>
inline double RatioValue(const Ratio& ratio) {
  return static_cast<double>(ratio.num) / static_cast<double>(ratio.den);
}

}  // namespace orvandel
