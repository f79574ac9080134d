#include "effect/render/stroke_outline.h"

#include <algorithm>
#include <cmath>

namespace orvandel {
namespace {

// Positive when the points run clockwise on the screen (y points down).
double SignedArea(const PlacedOutline& points) {
  double sum = 0;
  PlacedPoint previous = points.back();
  for (const PlacedPoint& point : points) {
    sum += static_cast<double>(previous.x * point.y - point.x * previous.y);
    previous = point;
  }
  return 0.5 * sum;
}

// Compares the area, scaled by the layer's size, with a floor below which a stroke cannot be seen.
bool IsTooSmall(double area, const OrvInRecord& in) {
  const double widthTimesAspect = static_cast<double>(std::int64_t{in.width} * in.pixelAspect.num);
  const double squareWidth = widthTimesAspect / static_cast<double>(in.pixelAspect.den);
  return std::fabs(area) * squareWidth * static_cast<double>(in.height) < 0.1;
}

}  // namespace

bool PrepareOutline(PlacedOutline& points, const OrvInRecord& in) {
  const double area = SignedArea(points);
  if (IsTooSmall(area, in)) return false;
  if (area < 0) std::reverse(points.begin(), points.end());
  return RemoveCollinearPoints(points);
}

bool RemoveCollinearPoints(PlacedOutline& points) {
  constexpr float kSmallestCross = 0.1F;
  std::size_t kept = 0;
  PlacedPoint previous = points.empty() ? PlacedPoint{} : points.back();
  for (std::size_t i = 0; i < points.size(); ++i) {
    const PlacedPoint point = points[i];
    // Behind the last point comes the first one that was kept, or the point itself when none was.
    const PlacedPoint next = i + 1 < points.size() ? points[i + 1] : kept > 0 ? points[0] : point;
    const float cross = (point.x - previous.x) * (next.y - point.y) - (point.y - previous.y) * (next.x - point.x);
    if (std::fabs(cross) < kSmallestCross) continue;
    points[kept++] = point;
    previous = point;
  }
  points.resize(kept);
  return kept >= 3;
}

}  // namespace orvandel
