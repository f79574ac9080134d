// Where a band's pixel rows lie in the picture.
#pragma once

#include "effect/render/fast/marks/band.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// Addresses of a band's pixel rows in the picture, those of whole strips.
class PictureRows {
 public:
  template <int P, typename Painter>
  PictureRows(const Band<P>& band, const Painter& painter, std::int32_t pixelRows) {
    constexpr std::int32_t kStrip = kStripPixelRows<P>;
    const std::int32_t rows = Band<P>::StripsOf(pixelRows) * kStrip;
    for (std::int32_t row = 0; row < rows; ++row) rows_[row] = painter.Row(band.FirstPixelRow() + row);
    for (std::int32_t row = 0; row < pixelRows; ++row) {
      for (std::int32_t before = row / kStrip * kStrip; before < row; ++before) meet_ |= rows_[row] == rows_[before];
    }
  }
  // Whether the picture's edge folds rows of a strip onto one another. Then the upper one's pixels come first.
  bool MeetInStrip() const { return meet_; }
  std::uint8_t* operator[](std::int32_t pixelRow) const { return rows_[pixelRow]; }
  // Prefetches the pixel, counted like the row's counters: the picture's lines are scattered and seldom in the cache.
  ORVANDEL_INLINE void Prefetch(std::int32_t pixelRow, std::int32_t pixel) const {
    __builtin_prefetch(rows_[pixelRow] + static_cast<std::ptrdiff_t>(pixel) * 4, 1);
  }

 private:
  std::uint8_t* rows_[kMostBandRows + 8];
  bool meet_ = false;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
