// A placed outline made ready for stroking.
#pragma once

#include "effect/base/geometry.h"
#include "orvandel/effect.h"

namespace orvandel {

// Makes the points run clockwise on the screen and removes those at which the outline does not bend. False when the
// rest has too little area, on a layer of this size, or too few points to be seen.
bool PrepareOutline(PlacedOutline& points, const OrvInRecord& in);

// Removes, in one walk, every point at which the outline runs straight on or turns exactly back. Returns whether at
// least three points remain.
bool RemoveCollinearPoints(PlacedOutline& points);

}  // namespace orvandel
