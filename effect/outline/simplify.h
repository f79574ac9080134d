// Thinning of densely sampled polylines.
#pragma once

#include "effect/base/geometry.h"

namespace orvandel {

// Appends a thinned copy of the open polyline `source` to `target`: a point is kept where the area swept since the last
// kept point, over the chord, exceeds `tolerance` (in the unit of the points). The first point is always kept, the last
// one only by the same rule: an outline closes from the last kept point to the first. An empty source appends nothing.
void SimplifyPolyline(const PictureOutline& source, PictureOutline& target, float tolerance);

}  // namespace orvandel
