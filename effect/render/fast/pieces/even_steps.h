// Edges whose steps down a stretch of rows are all alike, four at a time.
#pragma once

#include "effect/render/fast/pieces/edge_steps.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// Row k of `rows` lies at v + k * step, exactly, in every lane with rows; `end` is v behind the last one.
struct EvenSteps {
  FourFloats step, end;
  bool all;  // otherwise some lane is to be stepped
};

// LeapRows in every lane that has rows.
ORVANDEL_INLINE EvenSteps MakeEvenSteps(const FourFloats& v, const FourFloats& d, const FourInts& rows) {
  typedef double FourDoubles __attribute__((vector_size(32)));
  const auto inDoubles = [](const auto& numbers) { return __builtin_convertvector(numbers, FourDoubles); };
  EvenSteps steps;
  steps.step = (v + d) - v;
  const FourDoubles exact = inDoubles(v) + inDoubles(rows) * inDoubles(steps.step);
  steps.end = __builtin_convertvector(exact, FourFloats);

  const FourInts isExact = __builtin_convertvector(inDoubles(steps.end) == exact, FourInts);
  const FourInts before = (FourInts)v, behind = (FourInts)steps.end;
  const FourInts oneUnit = ((before ^ behind) & ~kFraction) == 0;
  const FourFloats rest = d - steps.step, halfUnit = (FourFloats)((before & kExponent) - kHalfUnitBelow);
  const FourInts nearest = (rest < halfUnit) & (-rest < halfUnit) & ((behind & kFraction) != 0);
  steps.all = LanesOfFour((rows == 0) | (isExact & oneUnit & ((rest == 0) | nearest))) == 15;
  return steps;
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS
