// What AVX2, with FMA and BMI2, has for vectors of 16 and 32 bytes; see portable.h.
#pragma once

#include <immintrin.h>

#include "effect/render/simd/portable.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

template <typename V>
concept Is16Bytes = sizeof(V) == 16;
template <typename V>
concept Is32Bytes = sizeof(V) == 32;

template <Is16Bytes V>
ORVANDEL_INLINE FourInts Floor(const V& v) {
  return (FourInts)_mm_cvttps_epi32(_mm_floor_ps(v));
}
template <Is32Bytes V>
ORVANDEL_INLINE Vec<std::int32_t, 8> Floor(const V& v) {
  return (Vec<std::int32_t, 8>)_mm256_cvttps_epi32(_mm256_floor_ps(v));
}
template <Is32Bytes V>
ORVANDEL_INLINE V WholePart(const V& v) {
  return _mm256_round_ps(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
}
template <Is32Bytes V>
ORVANDEL_INLINE V NextWhole(const V& v) {
  return _mm256_round_ps(v, _MM_FROUND_TO_POS_INF | _MM_FROUND_NO_EXC);
}
template <Is32Bytes V>
ORVANDEL_INLINE V SquareRoot(const V& v) {
  return _mm256_sqrt_ps(v);
}
template <Is32Bytes V>
ORVANDEL_INLINE V ExactMultiplyAdd(const V& a, const V& b, const V& c) {
  return _mm256_fmadd_ps(a, b, c);
}
template <Is32Bytes V>
ORVANDEL_INLINE bool Any(const V& v) {
  return _mm256_testz_si256((__m256i)v, (__m256i)v) == 0;
}
template <Is16Bytes V>
ORVANDEL_INLINE bool Any(const V& v) {
  return _mm_testz_si128((__m128i)v, (__m128i)v) == 0;
}
template <Is16Bytes V>
ORVANDEL_INLINE unsigned MaskBits(const V& mask) {
  return static_cast<unsigned>(_mm_movemask_ps((__m128)mask));
}
template <Is32Bytes V>
ORVANDEL_INLINE unsigned MaskBits(const V& mask) {
  return static_cast<unsigned>(_mm256_movemask_ps((__m256)mask));
}

template <Is32Bytes V>
ORVANDEL_INLINE V LoadWidened(const std::uint8_t* from) {
  return (V)_mm256_cvtepu8_epi32(_mm_loadl_epi64((const __m128i*)from));
}
template <Is32Bytes V>
ORVANDEL_INLINE V LoadWidened(const std::uint16_t* from) {
  return (V)_mm256_cvtepu16_epi32(_mm_loadu_si128((const __m128i*)from));
}
template <Is16Bytes V>
ORVANDEL_INLINE Vec<std::uint64_t, 4> Widened(const V& v) {
  return (Vec<std::uint64_t, 4>)_mm256_cvtepu32_epi64((__m128i)v);
}
// For a byte shuffle: byte `from` of each of four lanes as its byte `to`, zeros else.
template <int from, int to>
ORVANDEL_INLINE __m128i ByteMoves() {
  constexpr std::int32_t kZero = static_cast<std::int32_t>(0x80808080U & ~(255U << 8 * to));
  constexpr std::int32_t kStep = 0x04 << 8 * to, kMask = kZero | from << 8 * to;
  return _mm_setr_epi32(kMask, kMask + kStep, kMask + 2 * kStep, kMask + 3 * kStep);
}
template <int from, int to, Is32Bytes V>
ORVANDEL_INLINE V MoveByte(const V& v) {
  return (V)_mm256_shuffle_epi8((__m256i)v, _mm256_broadcastsi128_si256(ByteMoves<from, to>()));
}
template <Is32Bytes V>
ORVANDEL_INLINE V ShiftedLeft(const V& v, const V& counts) {
  return (V)_mm256_sllv_epi64((__m256i)v, (__m256i)counts);
}
template <typename Bytes>
requires(sizeof(Bytes) == 8) ORVANDEL_INLINE Bytes SpreadBits(std::uint64_t bits) {
  return (Bytes)_pdep_u64(bits, 0x0101010101010101U);
}

// The smallest of eight numbers.
ORVANDEL_INLINE std::int32_t SmallestOfEight(const __m128i& numbers) {
  return _mm_extract_epi16(_mm_minpos_epu16(numbers), 0);
}
ORVANDEL_INLINE WordSpan WordSpanOf(const __m128i& firstWords, const __m128i& lastWords) {
  // Up to -2 from below: nothing is larger than what rows without a trace come to.
  const std::int32_t fromEnd = SmallestOfEight(_mm_sub_epi16(_mm_set1_epi16(-2), lastWords));
  return {SmallestOfEight(firstWords), -2 - static_cast<std::int16_t>(fromEnd)};
}
ORVANDEL_INLINE WordSpan WordSpanOf(const FourInts& first, const FourInts& last) {
  const auto words = [](const FourInts& columns) __attribute__((always_inline)) {
    const __m128i each = _mm_srli_epi32((__m128i)columns, 6);
    return _mm_packus_epi32(each, each);
  };
  return WordSpanOf(words(first), words(last));
}

#if !defined(__AVX512F__)

inline constexpr int kLanes = 8;
inline constexpr int kRowGroup = 4;

// Sums of eight bytes each.
ORVANDEL_INLINE Vec<std::uint64_t, 4> SumsOfEight(const Vec<std::uint8_t, 32>& bytes) {
  return (Vec<std::uint64_t, 4>)_mm256_sad_epu8((__m256i)bytes, __m256i{});
}

// A window of 64 neighbouring alphas for four columns of eight rows: four look-ups among 16 bytes and three selections.
class AlphaWindow {
 public:
  using Bytes = Vec<std::uint8_t, 32>;  // for every four rows those of the first column, of the second and so on
  using Mask = Bytes;                   // of such bytes
  static constexpr std::int32_t kEntries = 64;

  ORVANDEL_INLINE void Place(const std::uint8_t* alphas, std::int32_t first) {
    first_ = _mm256_set1_epi16(static_cast<std::int16_t>(first));
    for (int i = 0; i < 4; ++i) {
      parts_[i] = _mm256_broadcastsi128_si256(_mm_loadu_si128((const __m128i*)(alphas + first + 16 * i)));
    }
  }
  // The alphas at `index`, one column a vector, where `counted`; else 0.
  ORVANDEL_INLINE Bytes Alphas(const Vec<std::int32_t, 8> (&index)[4], const Mask& counted) const {
    const auto pair = [&](int i) __attribute__((always_inline)) {
      return _mm256_sub_epi16(_mm256_packs_epi32((__m256i)index[i], (__m256i)index[i + 1]), first_);
    };
    const __m256i entries = _mm256_packus_epi16(pair(0), pair(2));
    // Bits 4 and 5 choose the part; a selection looks at bit 7.
    const __m256i odd = _mm256_slli_epi16(entries, 3), high = _mm256_slli_epi16(entries, 2);
    const auto at = [&](int part) __attribute__((always_inline)) { return _mm256_shuffle_epi8(parts_[part], entries); };
    const __m256i low = _mm256_blendv_epi8(at(0), at(1), odd);
    return (Bytes)_mm256_blendv_epi8(low, _mm256_blendv_epi8(at(2), at(3), odd), high) & counted;
  }
  // All columns of the rows in a mask.
  static Mask AllOf(const Vec<std::int32_t, 8>& rows) { return (Mask)InBytes(rows); }
  static Mask FirstColumns(std::int32_t count) {
    return (Mask)_mm256_cmpgt_epi8(_mm256_set1_epi8(static_cast<char>(count)), Columns());
  }
  // Column from + k of each row when first <= from + k < end.
  ORVANDEL_INLINE static Mask Within(const Vec<std::int32_t, 8>& first, const Vec<std::int32_t, 8>& end,
                                     std::int32_t from) {
    const __m256i columns = Columns();
    const auto distance = [&](const auto& v) __attribute__((always_inline)) {
      return InBytes(WrappingDifference(v, Vec<std::int32_t, 8>{} + from));
    };
    return (Mask)_mm256_andnot_si256(_mm256_cmpgt_epi8(distance(first), columns),
                                     _mm256_cmpgt_epi8(distance(end), columns));
  }

 private:
  static __m256i Columns() {
    return _mm256_broadcastsi128_si256(_mm_setr_epi32(0, 0x01010101, 0x02020202, 0x03030303));
  }
  // Each number as the four bytes for its row, cut off at the range of a byte.
  ORVANDEL_INLINE static __m256i InBytes(const Vec<std::int32_t, 8>& numbers) {
    const __m256i halves = _mm256_packs_epi32((__m256i)numbers, (__m256i)numbers);
    return _mm256_packs_epi16(halves, halves);
  }

  __m256i parts_[4];
  __m256i first_;  // its first entry
};

// All 512 alphas, four bytes at each index: `alphas` has room for 4 more behind its end.
class AllAlphas : public AlphaWindow {
 public:
  static constexpr std::int32_t kEntries = 512;

  void Place(const std::uint8_t* alphas, std::int32_t) { alphas_ = alphas; }
  ORVANDEL_INLINE Bytes Alphas(const Vec<std::int32_t, 8> (&index)[4], const Mask& counted) const {
    const auto at = [&](int k) __attribute__((always_inline)) {
      const auto entries = (__m256i)(index[k] & (kEntries - 1));
      return (__m256i)((Vec<std::int32_t, 8>)_mm256_i32gather_epi32((const int*)alphas_, entries, 1) & 255);
    };
    const __m256i low = _mm256_packs_epi32(at(0), at(1)), high = _mm256_packs_epi32(at(2), at(3));
    return (Bytes)_mm256_packus_epi16(low, high) & counted;
  }

 private:
  const std::uint8_t* alphas_;
};

#endif

}  // namespace orvandel::fast::ORVANDEL_KERNELS
