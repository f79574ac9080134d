#include "effect/outline/unit_frame.h"

#include <cmath>

#include "effect/base/float_rules.h"

namespace orvandel {

void MoveToUnitFrame(const PictureOutline& source, PicturePoint centre, UnitOutline& shape) {
  shape.resize(source.size());
  float farthestSquared = 0;
  for (std::size_t i = 0; i < source.size(); ++i) {
    const UnitPoint point{source[i].x - centre.x, source[i].y - centre.y};
    shape[i] = point;
    const float squared = point.x * point.x + point.y * point.y;
    if (squared > farthestSquared) farthestSquared = squared;  // false for NaN
  }
  if (!(farthestSquared > 0)) return;

  const float scale = 1.0F / std::sqrt(farthestSquared);
  for (UnitPoint& point : shape) {
    point.x *= scale;
    point.y *= scale;
  }
}

}  // namespace orvandel
