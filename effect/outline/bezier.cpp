#include "effect/outline/bezier.h"

#include <cmath>

#include "effect/base/float_rules.h"

namespace orvandel {
namespace {

// Each split brings the controls four times nearer to the chord: curves below two million pixels are flat at 0.3 pixels
// after 12 splits. Only larger or non-finite coordinates reach the guard; their piece counts as flat.
constexpr int kDeepestSplit = 16;

// The sum rounds to float; halving a float is exact, or rounds once among the denormals.
float Half(float a, float b) { return (a + b) * 0.5F; }
PlacedPoint Midpoint(PlacedPoint a, PlacedPoint b) { return {Half(a.x, b.x), Half(a.y, b.y)}; }

void FlattenPiece(const Cubic& curve, float toleranceSquared, int splits, PlacedOutline& target) {
  if (splits == kDeepestSplit || IsCubicFlat(curve, toleranceSquared)) {
    target.push_back(curve.start);
    return;
  }
  Cubic left;
  Cubic right;
  SplitCubic(curve, left, right);
  FlattenPiece(left, toleranceSquared, splits + 1, target);
  FlattenPiece(right, toleranceSquared, splits + 1, target);
}

}  // namespace

bool IsCubicFlat(const Cubic& curve, float toleranceSquared) {
  float ux = curve.end.x - curve.start.x;
  float uy = curve.end.y - curve.start.y;
  const float inverseLength = 1.0F / std::sqrt(ux * ux + uy * uy);
  ux *= inverseLength;
  uy *= inverseLength;

  // A control's component across the chord. NaN when the ends coincide: never off.
  const auto liesOff = [&](PlacedPoint control) {
    const float vx = control.x - curve.start.x;
    const float vy = control.y - curve.start.y;
    const float along = ux * vx + uy * vy;
    const float wx = vx - ux * along;
    const float wy = vy - uy * along;
    return wx * wx + wy * wy > toleranceSquared;
  };
  return !liesOff(curve.control1) && !liesOff(curve.control2);
}

void SplitCubic(const Cubic& curve, Cubic& left, Cubic& right) {
  const PlacedPoint middle = Midpoint(curve.control1, curve.control2);
  left.start = curve.start;
  left.control1 = Midpoint(curve.start, curve.control1);
  left.control2 = Midpoint(left.control1, middle);
  right.end = curve.end;
  right.control2 = Midpoint(curve.control2, curve.end);
  right.control1 = Midpoint(middle, right.control2);
  left.end = Midpoint(left.control2, right.control1);
  right.start = left.end;
}

void FlattenCubic(const Cubic& curve, float toleranceSquared, PlacedOutline& target) {
  FlattenPiece(curve, toleranceSquared, 0, target);
}

}  // namespace orvandel
