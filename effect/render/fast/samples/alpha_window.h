// Alphas of sixteen rows by four columns whose indices lie close together.
//
// A profile has 512 alphas, which is four permutations and as many selections for 64 indices. But rows of one piece
// that begin at neighbouring pixels are at nearly the same u in every column, and u changes slowly where the stroke is
// wide: there 128 neighbouring alphas are enough, which are one permutation. Whether they are is decided for a whole
// batch of rows.
#pragma once

#include "effect/render/fast/pieces/run.h"

#if defined(__AVX512VBMI__) && defined(__AVX512VNNI__)

namespace orvandel::fast::ORVANDEL_KERNELS {

class AlphaWindow {
 public:
  static constexpr std::int32_t kEntries = 128;

  ORVANDEL_INLINE void Place(const std::uint8_t* alphas, std::int32_t first) {
    lower_ = _mm512_loadu_si512(alphas + first);
    upper_ = _mm512_loadu_si512(alphas + first + 64);
    first_ = _mm512_set1_epi16(static_cast<std::int16_t>(first));
  }

  // The alphas at u, one column a vector, where `counted`: bytes, for every four rows those of the first column, then
  // those of the second, the third and the fourth.
  ORVANDEL_INLINE __m512i Alphas(const Floats (&u)[4], __mmask64 counted) const {
    const __m512i ab = _mm512_sub_epi16(_mm512_packs_epi32(IndexAt(u[0]), IndexAt(u[1])), first_);
    const __m512i cd = _mm512_sub_epi16(_mm512_packs_epi32(IndexAt(u[2]), IndexAt(u[3])), first_);
    return AlphasAt(_mm512_packus_epi16(ab, cd), counted);
  }
  // The same at indices from the window's first entry on, in the lower seven bits of each byte.
  ORVANDEL_INLINE __m512i AlphasAt(const __m512i& indices, __mmask64 counted) const {
    return _mm512_maskz_permutex2var_epi8(counted, lower_, indices, upper_);
  }

  // Bits for Alphas: column from + k of each row when first <= from + k < end.
  ORVANDEL_INLINE static __mmask64 Within(const __m512i& first, const __m512i& end, std::int32_t from) {
    const __m512i column = _mm512_set1_epi32(0x03020100);
    const __m512i columns = _mm512_shuffle_epi8(column, _mm512_set4_epi32(0x03030303, 0x02020202, 0x01010101, 0));
    const __m512i origin = _mm512_set1_epi32(from);
    return _mm512_mask_cmpgt_epi8_mask(_mm512_cmple_epi8_mask(InBytes(_mm512_sub_epi32(first, origin)), columns),
                                       InBytes(_mm512_sub_epi32(end, origin)), columns);
  }

  // Bits for Alphas: all four columns of these rows.
  static __mmask64 AllOf(__mmask16 rows) {
    const __m512i words = _mm512_maskz_set1_epi32(rows, -1);
    return _mm512_movepi8_mask(InBytes(words));
  }

 private:
  static __m512i IndexAt(const Floats& u) { return (__m512i)Truncate(u * kEntriesPerBand); }

  // Each number as the four bytes that Alphas has for that row, cut off at the range of a byte.
  ORVANDEL_INLINE static __m512i InBytes(const __m512i& numbers) {
    const __m512i words = _mm512_packs_epi32(numbers, numbers);
    return _mm512_packs_epi16(words, words);
  }

  __m512i lower_, upper_;  // the window
  __m512i first_;          // its first entry
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#endif
