// From a placed outline to a drawn stroke: orientation, thinning and transform here, edges and pieces in stroke_edges,
// rows in stroke_scan.
//
// Two spaces meet here. Outline, width and offset points are in full-size layer pixels relative to the wave's origin;
// everything after the transform is in subsamples, `quality` to an output pixel in both directions.

#include "effect/render/stroke_outline.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "effect/base/float_rules.h"
#include "effect/params/param_ids.h"
#include "effect/params/param_slot.h"
#include "effect/render/draw_wave.h"
#include "effect/render/stroke_edges.h"
#include "effect/render/stroke_scan.h"

namespace orvandel {
namespace {

// Positive when the points run clockwise on the screen (y points down).
double SignedArea(const Outline& points) {
  double sum = 0;
  Point2f previous = points.back();
  for (const Point2f& point : points) {
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

OrvPixel UnpackColor(std::uint32_t color) {
  OrvPixel pixel;
  static_assert(sizeof pixel == sizeof color);
  std::memcpy(&pixel, &color, sizeof pixel);  // the word holds the bytes in memory order
  return pixel;
}

// Without reflection nothing is looked for beyond the output. Rows above it stay in the range, because the edges have
// to be stepped through them.
void ClipBounds(StrokeBounds& bounds, const ImageBuffer& output, std::int32_t quality) {
  const auto cut = [quality](std::int32_t limit, std::int32_t size) {
    return static_cast<std::int32_t>(std::min<std::int64_t>(limit, std::int64_t{size} * quality));
  };
  bounds.xMin = std::max(bounds.xMin, 0);
  bounds.xMax = cut(bounds.xMax, output.width);
  bounds.yMax = cut(bounds.yMax, output.height);
}

}  // namespace

std::int32_t StrokeOutline(EffectContext& context, const ImageBuffer& output, const Wave& wave, Outline& points,
                           const ProfileTable& table) {
  if (points.size() < 3 || output.data == nullptr || output.width <= 0 || output.height <= 0) return 0;
  const std::int32_t quality = QualityFactor(context);
  const StrokeTransform transform = MakeStrokeTransform(*context.inRecord, wave.origin, quality);

  const double area = SignedArea(points);
  if (IsTooSmall(area, *context.inRecord)) return 0;
  if (area < 0) std::reverse(points.begin(), points.end());
  if (!RemoveCollinearPoints(points)) return 0;

  const Outline offsets = MakeOffsetPoints(points, StrokeWidth(wave), transform);
  if (!TransformPoints(points, transform)) return 0;

  StrokeGeometry geometry = BuildStrokeGeometry(points, offsets);
  geometry.quality = quality;
  geometry.color = UnpackColor(wave.color);
  geometry.table = &table;
  geometry.reflection = ValueWord(FilledSlot(context, kReflection).definition) != 0;
  if (!geometry.reflection) ClipBounds(geometry.bounds, output, quality);
  if (geometry.bounds.IsEmpty()) return 0;
  return ScanStroke(context, output, geometry);
}

}  // namespace orvandel
