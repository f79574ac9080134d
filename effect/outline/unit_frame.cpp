#include "effect/outline/unit_frame.h"

#include <cmath>

#include "effect/base/float_rules.h"

namespace orvandel {

void MoveToUnitFrame(Outline& shape, Point2f centre) {
  float farthestSquared = 0;
  for (Point2f& point : shape) {
    point.x -= centre.x;
    point.y -= centre.y;
    const float squared = point.x * point.x + point.y * point.y;
    if (squared > farthestSquared) farthestSquared = squared;  // never taken for a point that is not a number
  }
  if (!(farthestSquared > 0)) return;

  const float scale = 1.0F / std::sqrt(farthestSquared);
  for (Point2f& point : shape) {
    point.x *= scale;
    point.y *= scale;
  }
}

}  // namespace orvandel
