// Cubic curves and their flattening into points.
#pragma once

#include "effect/base/geometry.h"

namespace orvandel {

struct Cubic {
  PlacedPoint start;
  PlacedPoint control1;
  PlacedPoint control2;
  PlacedPoint end;
};

// Whether both controls lie within the tolerance of the chord's line. A curve whose ends coincide counts as flat.
bool IsCubicFlat(const Cubic& curve, float toleranceSquared);

// Cuts the curve at half its parameter.
void SplitCubic(const Cubic& curve, Cubic& left, Cubic& right);

// Appends the start of every flat piece in order; the curve's own end is left to whatever follows it. The
// tolerance is in pixels of the points.
void FlattenCubic(const Cubic& curve, float toleranceSquared, PlacedOutline& target);

}  // namespace orvandel
