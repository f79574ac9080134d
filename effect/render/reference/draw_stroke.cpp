#include "effect/render/reference/draw_stroke.h"

#include "effect/render/reference/stroke_edges.h"
#include "effect/render/reference/stroke_scan.h"

namespace orvandel {

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

}  // namespace orvandel
