// Alphas of sixteen rows, four columns at a time -> counters of four pixels.
#pragma once

#include "effect/render/fast/samples/lane_batch.h"

#if defined(__AVX512VBMI__) && defined(__AVX512VNNI__)

namespace orvandel::fast::ORVANDEL_KERNELS {

// Four pixels are 4 Q columns, taken four at a time: kFours for each of kParts parts. The alphas of four columns are
// bytes: for every four rows those of the first column, then those of the second, the third and the fourth.
template <int Q>
class FourPixels {
 public:
  static constexpr int kParts = Smaller(Q, 4), kFours = Larger(Q / 4, 1);

  // Four columns of one part, the `four`-th of it.
  ORVANDEL_INLINE void Take(int part, int four, const __m512i& alphas, __mmask64 counted) {
    if constexpr (Q == 1) {
      static_assert(kDrawnMark == 256);
      const __m512i drawn = _mm512_maskz_set1_epi8(counted, 1);
      totals_[0] = WithMarks(alphas, drawn, Spread(0));
      totals_[1] = WithMarks(alphas, drawn, Spread(2));
    } else if constexpr (Q == 2) {
      totals_[part] = _mm512_dpbusd_epi32(__m512i{}, _mm512_shuffle_epi8(alphas, Squares()), _mm512_set1_epi8(1));
    } else {
      const __m512i sums = _mm512_sad_epu8(alphas, __m512i{});
      pixel_ = four == 0 ? sums : _mm512_add_epi64(pixel_, sums);
      if (four + 1 < kFours) return;
      const __m512i placed = _mm512_sll_epi64(pixel_, _mm_cvtsi32_si128(16 * part));
      totals_[0] = part == 0 ? placed : _mm512_or_si512(totals_[0], placed);
    }
  }

  // Adds all that were taken to the counters of the pixels from column x on.
  ORVANDEL_INLINE void AddTo(std::uint16_t* const (&counters)[kGroups<Q>], std::int32_t x) const {
    typedef std::uint64_t Totals512 __attribute__((vector_size(64)));
    if constexpr (Q == 1) {
      for (int group = 0; group < kLanes; ++group) {
        const int fours = group / 4, row = group % 4;
        AddFourCounters(counters[group] + x, ((Totals512)totals_[row / 2])[2 * fours + row % 2]);
      }
    } else if constexpr (Q == 2) {
      // Two pixels of the upper two rows, two of the lower; then the next two of each.
      const __m512i all = _mm512_packs_epi32(totals_[0], totals_[1]);
      AddToCounters<Q, 1>((Totals512)_mm512_shuffle_epi32(all, _MM_PERM_DBCA), x, counters);
    } else if constexpr (kGroups<Q> == 1) {
      AddFourCounters(counters[0] + x / Q, StripWords<8>::Sum((StripWords<8>::Vector)totals_[0]));
    } else {
      // Two sums for every four rows.
      const __m512i all = _mm512_add_epi64(totals_[0], _mm512_shuffle_epi32(totals_[0], _MM_PERM_BADC));
      AddToCounters<Q, 2>((Totals512)all, x, counters);
    }
  }

 private:
  // What one sample adds at quality 1 has a mark above the alpha.
  static __m512i WithMarks(const __m512i& alphas, const __m512i& drawn, const __m512i& order) {
    const __m512i marks = _mm512_slli_epi16(_mm512_shuffle_epi8(drawn, order), 8);
    return _mm512_or_si512(_mm512_shuffle_epi8(alphas, order), marks);
  }
  // Of rows `row` and `row` + 1: four columns as numbers of 16 bits.
  static __m512i Spread(char row) {
    constexpr char kZero = -1;
    const auto at = [row](int i) { return static_cast<char>(i % 2 != 0 ? kZero : i / 2 % 4 * 4 + i / 8 + row); };
    return _mm512_broadcast_i32x4(_mm_setr_epi8(at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7), at(8), at(9),
                                                at(10), at(11), at(12), at(13), at(14), at(15)));
  }
  // The four samples of each pixel side by side.
  static __m512i Squares() {
    return _mm512_broadcast_i32x4(_mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15));
  }

  __m512i totals_[2], pixel_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#endif
