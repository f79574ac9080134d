// Many steps of edges at once, where that is exact.
//
// A value v changes by d from row to row, each addition rounded. While v stays between two powers of two, all numbers
// there are multiples of one unit U, and v + d comes to v + D with the multiple D of U that is nearest to d, whatever v
// is: n steps come to v + n D, which a double holds exactly. It must not be in doubt which multiple is the nearest, and
// a power of two must not be reached by rounding: below it the unit is half as large. Everything else is stepped.
#pragma once

#include "effect/render/simd/simd.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// Row k of `rows` lies at v + k * step, exactly, in every lane with rows; `end` is v behind the last one.
struct EvenSteps {
  FourFloats step, end;
  bool all;  // otherwise some lane is to be stepped
};

ORVANDEL_INLINE EvenSteps MakeEvenSteps(const FourFloats& v, const FourFloats& d, const FourInts& rows) {
  constexpr std::int32_t kFraction = 0x007FFFFF, kExponent = 0x7F800000, kHalfUnitBelow = 24 << 23;
  const auto inDoubles = [](const auto& numbers) { return __builtin_convertvector(numbers, Vec<double, 4>); };
  EvenSteps steps;
  steps.step = (v + d) - v;
  const Vec<double, 4> exact = inDoubles(v) + inDoubles(rows) * inDoubles(steps.step);
  steps.end = __builtin_convertvector(exact, FourFloats);

  const FourInts isExact = __builtin_convertvector(inDoubles(steps.end) == exact, FourInts);
  const FourInts before = (FourInts)v, behind = (FourInts)steps.end;
  const FourInts oneUnit = ((before ^ behind) & ~kFraction) == 0;
  const FourFloats rest = d - steps.step, halfUnit = (FourFloats)((before & kExponent) - kHalfUnitBelow);
  const FourInts nearest = (rest < halfUnit) & (-rest < halfUnit) & ((behind & kFraction) != 0);
  steps.all = MaskBits((rows == 0) | (isExact & oneUnit & ((rest == 0) | nearest))) == 15;
  return steps;
}

// v after `rows` additions of d.
inline void StepRows(FourFloats& v, const FourFloats& d, std::int32_t rows) {
  constexpr std::int32_t kShortest = 16;  // fewer are added faster than asked about
  while (rows >= kShortest) {
    std::int32_t leap = rows;
    EvenSteps steps;
    do {
      steps = MakeEvenSteps(v, d, FourInts{} + leap);
      if (!steps.all) leap /= 2;
    } while (!steps.all && leap >= kShortest);
    if (steps.all) {
      v = steps.end;
    } else {
      leap = kShortest;
      for (std::int32_t i = 0; i < leap; ++i) v += d;
    }
    rows -= leap;
  }
  for (; rows > 0; --rows) v += d;
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS
