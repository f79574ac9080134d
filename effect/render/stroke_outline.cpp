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

std::int32_t DrawStrokePlainly(EffectContext& context, const ImageBuffer& output, Outline& points,
                               const StrokeLook& look) {
  const Outline offsets = MakeOffsetPoints(points, look.width, look.transform);
  if (!TransformPoints(points, look.transform)) return 0;

  StrokeGeometry geometry = BuildStrokeGeometry(points, offsets);
  geometry.quality = look.quality;
  geometry.color = look.color;
  geometry.table = look.table;
  geometry.reflection = look.reflection;
  if (!geometry.reflection) ClipBounds(geometry.bounds, output, look.quality);
  if (geometry.bounds.IsEmpty()) return 0;
  return ScanStroke(context, output, geometry);
}

}  // namespace

std::int32_t StrokeOutline(EffectContext& context, Canvas& canvas, const Wave& wave, Outline& points,
                           const ProfileTable& table) {
  if (points.size() < 3) return 0;
  const std::int32_t quality = QualityFactor(context);
  const StrokeTransform transform = MakeStrokeTransform(*context.inRecord, wave.origin, quality);

  const double area = SignedArea(points);
  if (IsTooSmall(area, *context.inRecord)) return 0;
  if (area < 0) std::reverse(points.begin(), points.end());
  if (!RemoveCollinearPoints(points)) return 0;

  const StrokeLook look{
      StrokeWidth(wave),       transform, quality,
      UnpackColor(wave.color), &table,    ValueWord(FilledSlot(context, kReflection).definition) != 0};
  std::int32_t result;
  if (canvas.Queue().Take(context, points, look, result)) return result;
  return DrawStrokePlainly(context, canvas.Flushed(), points, look);
}

}  // namespace orvandel
