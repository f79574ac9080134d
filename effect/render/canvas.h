// The picture that a frame's waves are drawn into, and the code that draws them.
#pragma once

#include "effect/host/effect_context.h"
#include "effect/render/fast/stroke_queue.h"
#include "effect/render/stroke/stroke_look.h"

namespace orvandel {

// It may queue strokes and draw them together. The picture is complete after Flush, which the destructor calls too.
class Canvas {
 public:
  enum class Ground { kAsItIs, kCleared };

  // `output` has pixels. kCleared: transparent black; bytes behind the last pixel of a row stay as they are.
  Canvas(const ImageBuffer& output, Ground ground);
  ~Canvas() { Flush(); }

  // Strokes the outline (see PrepareOutline) on its inner side. Returns 0 or the host's code that stopped the work; the
  // rows before that are drawn.
  std::int32_t Stroke(EffectContext& context, const PlacedOutline& points, const StrokeLook& look);
  void Flush() { queue_.Flush(); }

 private:
  ImageBuffer output_;
  const fast::Kernels* kernels_;  // null: all is drawn plainly
  StrokeQueue queue_;
};

}  // namespace orvandel
