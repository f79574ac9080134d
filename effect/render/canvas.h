// The picture that a frame's waves are drawn into.
#pragma once

#include "effect/host/image_buffer.h"
#include "effect/render/fast/stroke_queue.h"

namespace orvandel {

// Strokes may wait in it, to be drawn together. The picture is complete when Flush has returned, or with the canvas'
// end, however that comes.
class Canvas {
 public:
  enum class Ground { kAsItIs, kCleared };

  // `output` has pixels. kCleared: transparent black; bytes behind the last pixel of a row stay as they are.
  Canvas(const ImageBuffer& output, Ground ground) : output_(output), queue_(output) {
    if (ground == Ground::kCleared) queue_.ClearFirst();
  }
  ~Canvas() { Flush(); }

  StrokeQueue& Queue() { return queue_; }
  void Flush() { queue_.Flush(); }

  // For those who draw at once.
  const ImageBuffer& Flushed() {
    Flush();
    return output_;
  }

 private:
  ImageBuffer output_;
  StrokeQueue queue_;
};

}  // namespace orvandel
