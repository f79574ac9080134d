// Boxes, areas and reaches of mask paths.
#pragma once

#include "stage/scene/scene.h"

namespace orvandel::stage {

struct PathBox {
  double left = 0, top = 0, right = 0, bottom = 0;
  bool empty = true;

  double Width() const { return right - left; }
  double Height() const { return bottom - top; }
  PointValue Middle() const { return {(left + right) / 2, (top + bottom) / 2}; }
  void Take(PointValue point);
};

// Of the curves themselves, not of their control points.
void TakeInto(PathBox& box, const MaskPath& path);
// Without a sign; closed by a straight line. To the precision of a polygon.
double AreaOf(const MaskPath& path);
// The distance of the farthest point from `centre`. Likewise.
double ReachOf(const MaskPath& path, PointValue centre);

}  // namespace orvandel::stage
