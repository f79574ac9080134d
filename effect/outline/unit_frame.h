// From pixels of a picture to the unit frame of a wave's shape.
#pragma once

#include "effect/base/geometry.h"

namespace orvandel {

// shape = `source` with `centre` at the origin and the farthest point at distance 1. When no point has a distance above
// 0 there is nothing to scale by: the points are only moved, and a stroke along them draws nothing.
void MoveToUnitFrame(const PictureOutline& source, PicturePoint centre, UnitOutline& shape);

}  // namespace orvandel
