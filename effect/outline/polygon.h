// Regular polygons and stars in the unit frame: centre at the origin, outer vertices on the unit circle.
//
// Vertex 0 lies straight to the right; the rest follow clockwise on screen. Placement adds size, turn, place and
// rounded corners.
#pragma once

#include "effect/sim/wave.h"

namespace orvandel {

// Rebuilds wave.shape with one point a side; empty when wave.sides (read as signed) is below 1.
void BuildPolygonShape(Wave& wave);

// Rebuilds wave.shape with outer and inner vertices in turn. The inner radius is (1 + starDepth) times the polygon's
// apothem: depth 0 lies on the polygon, depths below -0.999 count as -0.999 so that the centre is never reached.
void BuildStarShape(Wave& wave);

}  // namespace orvandel
