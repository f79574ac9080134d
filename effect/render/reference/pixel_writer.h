// From samples to output pixels: the two writers, which fold positions back into the picture.
#pragma once

#include <cstdint>

#include "effect/base/heap_containers.h"
#include "effect/host/image_buffer.h"
#include "effect/render/stroke/blend.h"
#include "effect/render/stroke/picture.h"

namespace orvandel {

// Walks the pixels of a row in unfolded space: at the row's ends it stays for one step and turns.
class MirrorCursor {
 public:
  // To unfolded column `x` of row `y`, which lies in the picture.
  void Place(const ImageBuffer& image, std::int64_t x, std::int32_t y);
  void Step() {
    if (pixel_ == turn_) {
      direction_ = -direction_;
      turn_ = direction_ > 0 ? last_ : first_;
    } else {
      pixel_ += direction_;
    }
  }
  void Move(std::int64_t steps);  // >= 0
  OrvPixel& Pixel() const { return *pixel_; }

 private:
  OrvPixel* first_ = nullptr;
  OrvPixel* last_ = nullptr;
  OrvPixel* pixel_ = nullptr;
  OrvPixel* turn_ = nullptr;  // the end that lies ahead
  std::ptrdiff_t direction_ = 1;
};

// One sample is one output pixel, blended at once.
class DirectWriter {
 public:
  DirectWriter(const ImageBuffer& output, OrvPixel color) : output_(output), color_(color) {}

  void StartRow(std::int32_t x, std::int32_t y);
  void Advance(std::int64_t columns) { columns == 1 ? cursor_.Step() : cursor_.Move(columns); }
  // A sample of alpha 0 counts: it gives its colour to a pixel of alpha 0.
  void Write(std::uint8_t alpha) {
    color_.alpha = alpha;
    BlendPixel(cursor_.Pixel(), cursor_.Pixel(), color_);
  }

 private:
  ImageBuffer output_;
  OrvPixel color_;
  MirrorCursor cursor_;
};

// quality x quality samples are one output pixel, whose alpha is their mean. The samples of one output row collect in
// counters, one per output column of the stroke; a row is blended when the scan leaves it. Rows that fold onto the same
// output row from different sides of its edge are blended one after the other.
//
// Between flushes of a finished row all counters are 0.
class SubsampleAccumulator {
 public:
  // For subsample columns xMin to xMax, both included; quality >= 2.
  SubsampleAccumulator(const ImageBuffer& output, std::int32_t xMin, std::int32_t xMax, OrvPixel color,
                       std::int32_t quality);

  void StartRow(std::int32_t x, std::int32_t y);  // blends the row before when `y` belongs to another one
  void Advance(std::int64_t columns);
  void Add(std::uint8_t alpha) {
    std::uint16_t& counter = counters_[cell_];
    counter = static_cast<std::uint16_t>(counter + alpha);  // at most 16 x 16 x 255
  }
  void Flush();

 private:
  ImageBuffer output_;
  OrvPixel color_;
  std::int64_t quality_;
  std::int64_t xFirst_;                 // subsample column where the first counter begins, a multiple of quality
  HeapVector<std::uint16_t> counters_;  // sums of alphas
  std::size_t cell_ = 0;                // the counter in use
  std::int64_t columnsLeft_ = 1;        // subsample columns until the next counter, 1..quality
  std::int32_t row_ = 0;                // output row that the counters belong to
  bool mirrored_ = false;               // and whether it was reached through a mirrored repetition
};

}  // namespace orvandel
