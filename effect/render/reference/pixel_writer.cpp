// Mirror addressing step by step, and the box filter.

#include "effect/render/reference/pixel_writer.h"

#include <algorithm>

namespace orvandel {
namespace {

// Counters needed for the subsample columns from `first` (a multiple of `quality`) to `last`.
std::size_t CounterCount(std::int64_t first, std::int64_t last, std::int64_t quality) {
  return static_cast<std::size_t>((last - first) / quality + 1);
}

}  // namespace

void MirrorCursor::Place(const ImageBuffer& image, std::int64_t x, std::int32_t y) {
  first_ = reinterpret_cast<OrvPixel*>(image.Row(y));
  last_ = first_ + (image.width - 1);
  pixel_ = first_ + MirrorFold(x, image.width);
  direction_ = IsMirrored(x, image.width) ? -1 : 1;
  turn_ = direction_ > 0 ? last_ : first_;
}

void MirrorCursor::Move(std::int64_t steps) {
  const std::int64_t width = last_ - first_ + 1;
  const std::int64_t column = pixel_ - first_;
  // Columns 0..width-1 are the way to the right, width..2*width-1 the way back.
  const std::int64_t unfolded = (direction_ > 0 ? column : 2 * width - 1 - column) + steps;
  pixel_ = first_ + MirrorFold(unfolded, width);
  direction_ = IsMirrored(unfolded, width) ? -1 : 1;
  turn_ = direction_ > 0 ? last_ : first_;
}

void DirectWriter::StartRow(std::int32_t x, std::int32_t y) {
  cursor_.Place(output_, x, static_cast<std::int32_t>(MirrorFold(y, output_.height)));
}

SubsampleAccumulator::SubsampleAccumulator(const ImageBuffer& output, std::int32_t xMin, std::int32_t xMax,
                                           OrvPixel color, std::int32_t quality)
    : output_(output),
      color_(color),
      quality_(quality),
      xFirst_(FloorDivide(xMin, quality) * quality),
      counters_(CounterCount(xFirst_, xMax, quality)) {}

void SubsampleAccumulator::StartRow(std::int32_t x, std::int32_t y) {
  cell_ = static_cast<std::size_t>((x - xFirst_) / quality_);
  columnsLeft_ = quality_ - (x - xFirst_) % quality_;

  const std::int64_t subsampleRows = output_.height * quality_;
  const auto row = static_cast<std::int32_t>(MirrorFold(y, subsampleRows) / quality_);
  const bool mirrored = IsMirrored(y, subsampleRows);
  if (row == row_ && mirrored == mirrored_) return;
  Flush();
  row_ = row;
  mirrored_ = mirrored;
}

void SubsampleAccumulator::Advance(std::int64_t columns) {
  if (columns < columnsLeft_) {
    columnsLeft_ -= columns;
    return;
  }
  const std::int64_t column = quality_ - columnsLeft_ + columns;  // counted from the current cell's first one
  cell_ += static_cast<std::size_t>(column / quality_);
  columnsLeft_ = quality_ - column % quality_;
}

void SubsampleAccumulator::Flush() {
  MirrorCursor cursor;
  cursor.Place(output_, xFirst_ / quality_, row_);
  for (std::uint16_t& counter : counters_) {
    if (counter != 0) {
      color_.alpha = static_cast<std::uint8_t>(std::min<std::int64_t>(255, counter / (quality_ * quality_)));
      BlendPixel(cursor.Pixel(), cursor.Pixel(), color_);
      counter = 0;
    }
    cursor.Step();
  }
}

}  // namespace orvandel
