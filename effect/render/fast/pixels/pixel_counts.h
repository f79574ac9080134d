// Marks of a strip's word column -> samples of its pixels.
//
// Bits are added to pairs, pairs to fours, until a field of P bits holds a pixel's samples in one row; then rows are
// added. Fields of two and four bits become bytes before they overflow; those of sixteen are bytes until all rows are
// added.
#pragma once

#include "effect/render/fast/marks/band.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int P>
class PixelCounts {
 public:
  static constexpr int kPixels = Smaller(kLanes, kWordCells / P);          // of a chunk, which is blended together
  using Count = std::conditional_t<P == 16, std::uint16_t, std::uint8_t>;  // of a pixel's samples
  using Counts = Vec<Count, kPixels>;
  using Words = StripWords<kStripRows<P>>;

  // visit(row, pixel, counts, any): a chunk's pixel row in the strip and first pixel in the word column, and whether
  // any of its pixels has samples. Chunks come row by row from left to right; some without samples are left out.
  template <typename Visit>
  ORVANDEL_INLINE static void ForEach(const Words& drawn, Visit visit) {
    if constexpr (P == 1) {
      // Most chunks are empty.
      constexpr int kChunks = kWordCells / kPixels;
      const auto visitItem = [&](int item, std::uint64_t bits) __attribute__((always_inline)) {
        visit(item / kChunks, item % kChunks * kPixels, SpreadBits<Counts>(bits), true);
      };
      ForItems<kPixels>(drawn.parts, visitItem);
    } else {
      // Rows of pixels, in parts of kPart.
      constexpr int kRows = kStripPixelRows<P>, kPart = Smaller(16, kWordCells / P);
      Count counts[P == 2 ? 2 : 1][kRows][kPart];
      Make(drawn, counts);
      for (int row = 0; row < kRows; ++row) {
        for (int pixel = 0; pixel < kWordCells / P; pixel += kPixels) {
          const auto chunk = Load<Counts>(counts[pixel / kPart][row] + pixel % kPart);
          visit(row, pixel, chunk, AnyCount(chunk));
        }
      }
    }
  }

 private:
  ORVANDEL_INLINE static bool AnyCount(const Counts& counts) {
    if constexpr (sizeof(Counts) == 4) {
      return Load<std::uint32_t>(&counts) != 0;
    } else {
      return Any(counts);
    }
  }

  template <int parts, int rows, int size>
  ORVANDEL_INLINE static void Make(const Words& drawn, Count (&counts)[parts][rows][size]) {
    if constexpr (P == 4 && kHasFourRowCounts<WordVector>) {
      Store(counts, FourRowCounts(drawn.parts[0]));
    } else if constexpr (P >= 8) {
      WordVector sums{};
      for (const WordVector& part : drawn.parts) sums += BitsOfFields<8>(part);
      const std::uint64_t bytes = SumOfLanes(sums), kLow = 0x00FF00FF00FF00FFU;
      Store(counts, P == 8 ? bytes : (bytes & kLow) + (bytes >> 8 & kLow));
    } else {
      constexpr std::uint64_t kEven = P == 4 ? 0x0F0F0F0F0F0F0F0FU : 0x3333333333333333U, kBytes = 0x0F0F0F0F0F0F0F0FU;
      constexpr int kPairs = kWordLanes / 2;  // of rows in a vector, 16 bytes each
      std::uint8_t pairs[kStripRows<P> / 2][16];
      for (int i = 0; i < Words::kParts; ++i) {
        const WordVector fields = BitsOfFields<P>(drawn.parts[i]);
        const WordVector even = fields & kEven, odd = fields >> P & kEven;
        const WordVector sums = MergedLow<1>(even, odd) + MergedHigh<1>(even, odd);
        if constexpr (P == 4) {
          Store(pairs[kPairs * i], sums);
        } else {
          const WordVector a = sums & kBytes, b = sums >> 4 & kBytes;
          Store(counts[0][kPairs * i], MergedLow<2>(a, b));
          Store(counts[parts - 1][kPairs * i], MergedHigh<2>(a, b));
        }
      }
      if constexpr (P == 4) {
        using Sixteen = Vec<std::uint8_t, 16>;
        for (int row = 0; row < rows; ++row) {
          Store(counts[0][row], Load<Sixteen>(pairs[2 * row]) + Load<Sixteen>(pairs[2 * row + 1]));
        }
      }
    }
  }

  template <typename V>
  ORVANDEL_INLINE static std::uint64_t SumOfLanes(const V& v) {
    if constexpr (kLanesOf<V> == 2) {
      return v[0] + v[1];
    } else {
      return SumOfLanes(LowHalf(v) + HighHalf(v));
    }
  }
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
