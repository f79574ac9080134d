// Cubic curves and their flattening into points.
#pragma once

#include "effect/sim/wave.h"

namespace orvandel {

struct Cubic {
  Point2f start;
  Point2f control1;
  Point2f control2;
  Point2f end;
};

// Whether both controls lie within the tolerance of the chord's line. A curve whose ends coincide counts as flat.
bool IsCubicFlat(const Cubic& curve, float toleranceSquared);

// Cuts the curve at half its parameter.
void SplitCubic(const Cubic& curve, Cubic& left, Cubic& right);

// Appends the start of every flat piece in order; the curve's own end is left to whatever follows it. Tolerance and
// points in the same unit.
void FlattenCubic(const Cubic& curve, float toleranceSquared, Outline& target);

}  // namespace orvandel
