#include "effect/render/reference/draw_stroke.h"

#include "effect/render/reference/stroke_edges.h"
#include "effect/render/reference/stroke_scan.h"

namespace orvandel {

std::int32_t DrawStrokePlainly(EffectContext& context, const ImageBuffer& output, const PlacedOutline& points,
                               const StrokeLook& look) {
  const SubsampleOutline offsets = MakeOffsetPoints(points, look.width, look.transform);
  SubsampleOutline corners;
  if (!TransformPoints(points, look.transform, corners)) return 0;

  StrokeGeometry geometry = BuildStrokeGeometry(corners, offsets);
  geometry.quality = look.quality;
  geometry.color = look.color;
  geometry.table = look.table;
  geometry.reflection = look.reflection;
  if (!geometry.reflection) ClipBounds(geometry.bounds, output, look.quality);
  if (geometry.bounds.IsEmpty()) return 0;
  return ScanStroke(context, output, geometry);
}

}  // namespace orvandel
