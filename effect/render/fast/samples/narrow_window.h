// Alphas of eight rows by four columns whose indices lie close together, for processors with vectors of 32 bytes.
//
// Those look up 16 bytes at a time: four such lookups and three selections are a window of 64 alphas.
#pragma once

#include "effect/render/fast/pieces/run.h"
#include "effect/render/simd/lanes.h"

#if defined(__AVX2__) && !defined(__AVX512F__)

namespace orvandel::fast::ORVANDEL_KERNELS {

class NarrowWindow {
 public:
  static constexpr std::int32_t kEntries = 64;

  ORVANDEL_INLINE void Place(const std::uint8_t* alphas, std::int32_t first) {
    first_ = _mm256_set1_epi16(static_cast<std::int16_t>(first));
    for (int i = 0; i < 4; ++i) {
      parts_[i] = _mm256_broadcastsi128_si256(_mm_loadu_si128((const __m128i*)(alphas + first + 16 * i)));
    }
  }

  // The alphas at u, one column a vector: bytes, for every four rows those of the first column, then those of the
  // second, the third and the fourth.
  ORVANDEL_INLINE __m256i Alphas(const Floats (&u)[4]) const {
    const __m256i ab = _mm256_sub_epi16(_mm256_packs_epi32(IndexAt(u[0]), IndexAt(u[1])), first_);
    const __m256i cd = _mm256_sub_epi16(_mm256_packs_epi32(IndexAt(u[2]), IndexAt(u[3])), first_);
    const __m256i entries = _mm256_packus_epi16(ab, cd);
    // Bits 4 and 5 choose the part; a selection looks at bit 7.
    const __m256i odd = _mm256_slli_epi16(entries, 3), upper = _mm256_slli_epi16(entries, 2);
    const auto at = [&](int part) __attribute__((always_inline)) { return _mm256_shuffle_epi8(parts_[part], entries); };
    return _mm256_blendv_epi8(_mm256_blendv_epi8(at(0), at(1), odd), _mm256_blendv_epi8(at(2), at(3), odd), upper);
  }

  // All ones in the bytes of Alphas of these rows.
  static __m256i AllOf(const Ints& rows) { return InBytes(rows); }

  // All ones in the bytes of Alphas for column from + k of each row when first <= from + k < end.
  ORVANDEL_INLINE static __m256i Within(const Ints& first, const Ints& end, std::int32_t from) {
    const __m256i columns = _mm256_broadcastsi128_si256(_mm_setr_epi32(0, 0x01010101, 0x02020202, 0x03030303));
    const __m256i begins = InBytes(WrappingDifference(first, Ints{} + from));
    return _mm256_andnot_si256(_mm256_cmpgt_epi8(begins, columns),
                               _mm256_cmpgt_epi8(InBytes(WrappingDifference(end, Ints{} + from)), columns));
  }

 private:
  static __m256i IndexAt(const Floats& u) { return (__m256i)Truncate(u * kEntriesPerBand); }

  // Each number as the four bytes that Alphas has for that row, cut off at the range of a byte.
  ORVANDEL_INLINE static __m256i InBytes(const Ints& numbers) {
    const __m256i words = _mm256_packs_epi32((__m256i)numbers, (__m256i)numbers);
    return _mm256_packs_epi16(words, words);
  }

  __m256i parts_[4];
  __m256i first_;  // its first entry
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#endif
