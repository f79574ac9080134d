// From pixels of a picture to the unit frame of a wave's shape.
#pragma once

#include "effect/sim/wave.h"

namespace orvandel {

// Moves `centre` to the origin and scales the farthest point to distance 1. When no point has a distance above 0 there
// is nothing to scale by: the points stay as moved, and a stroke along them draws nothing.
void MoveToUnitFrame(Outline& shape, Point2f centre);

}  // namespace orvandel
