#include "effect/render/canvas.h"

#include "effect/render/reference/draw_stroke.h"
#include "effect/render/stroke_code.h"

namespace orvandel {
namespace {

// A width below 0 puts the band outside the shape, where next to nothing of it is drawn. Two rows that fold onto the
// same picture row may then follow each other with nothing drawn in between, and the plain code blends them as one.
bool IsForKernels(const StrokeLook& look) { return look.width >= 0; }

}  // namespace

Canvas::Canvas(const ImageBuffer& output, Ground ground)
    : output_(output), kernels_(KernelsOf(CurrentStrokeCode())), queue_(output, kernels_) {
  if (ground == Ground::kCleared) queue_.ClearFirst();
}

std::int32_t Canvas::Stroke(EffectContext& context, const PlacedOutline& points, const StrokeLook& look) {
  std::int32_t result;
  if (kernels_ != nullptr && IsForKernels(look) && queue_.Add(context, points, look, result)) return result;
  Flush();
  return DrawStrokePlainly(context, output_, points, look);
}

}  // namespace orvandel
