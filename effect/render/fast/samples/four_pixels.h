// Alphas of a vector of rows, four columns at a time -> counters of four pixels.
#pragma once

#include "effect/render/fast/samples/lane_batch.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// Four pixels are 4 P columns, done four at a time: kFours for each of kParts parts. The alphas of four columns are
// bytes: for every four rows those of the first column, then those of the second, the third and the fourth (or, as it
// does not matter from P = 4 on, row by row).
template <int P, typename Window = AllAlphas>
class FourPixels {
 public:
  static constexpr int kParts = Smaller(P, 4), kFours = Larger(P / 4, 1);
  using Bytes = typename Window::Bytes;

  // Adds four columns of one part, the `four`-th of it.
  ORVANDEL_INLINE void Add(int part, int four, const Bytes& alphas, const typename Window::Mask& counted) {
    if constexpr (P == 1) {
      // What one sample adds has a mark above the alpha. Row by row: two bytes a column.
      static_assert(kDrawnMark == 256);
      const Bytes byRow = Ordered<RowByRow>(alphas), marks = Ordered<RowByRow>(Window::Ones(counted));
      totals_[0] = (Totals)MergedLow<1>(byRow, marks);
      totals_[1] = (Totals)MergedHigh<1>(byRow, marks);
    } else if constexpr (P == 2) {
      totals_[part] = (Totals)SumsOfFour(Ordered<SquareBySquare>(alphas));
    } else {
      pixel_ = four == 0 ? SumsOfEight(alphas) : pixel_ + SumsOfEight(alphas);
      if (four + 1 < kFours) return;
      totals_[0] |= pixel_ << (16 * part);
    }
  }

  // Adds all to the counters of the pixels from column x on.
  ORVANDEL_INLINE void AddTo(std::uint16_t* const (&counters)[kGroups<P>], std::int32_t x) const {
    if constexpr (P == 1) {
      // In every 16 bytes rows 0 and 1 of four, and rows 2 and 3.
      std::uint64_t rows[2][kLanes / 2];
      Store(rows, totals_);
      for (int group = 0; group < kLanes; ++group) {
        AddFourCounters(counters[group] + x, rows[group / 2 % 2][group / 4 * 2 + group % 2]);
      }
    } else if constexpr (P == 2) {
      // Numbers of 32 bits, by rows and pixels: 01 0, 01 1, 23 0, 23 1; and the same of pixels 2 and 3.
      const Totals both = totals_[0] | totals_[1] << 16;
      AddToCounters<P, 1>(Ordered<PixelByPixel>(both), x, counters);
    } else if constexpr (kGroups<P> == 1) {
      std::uint64_t total = 0, each[kLanes / 2];
      Store(each, totals_[0]);
      for (const std::uint64_t one : each) total += one;
      AddFourCounters(counters[0] + x / P, total);
    } else {
      AddToCounters<P, 2>(totals_[0] + Swapped<1>(totals_[0]), x, counters);
    }
  }

 private:
  using Totals = Vec<std::uint64_t, kLanes / 2>;

  static constexpr int RowByRow(int k) { return k % 4 * 4 + k / 4; }
  // The four samples of each pixel side by side: pixels 0 and 1 of two rows, then of the other two.
  static constexpr int SquareBySquare(int k) { return k / 4 % 2 * 8 + k % 4 / 2 * 4 + k / 8 * 2 + k % 2; }
  // Numbers of 16 bits, of pixels 0 2 1 3, in order.
  static constexpr int PixelByPixel(int k) {
    const int pixel = k / 2 % 4;
    return k / 8 * 8 + (pixel == 1 ? 2 : pixel == 2 ? 1 : pixel) * 2 + k % 2;
  }

  Totals totals_[2] = {}, pixel_{};
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
