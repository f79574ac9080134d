// Marks of a strip's word column -> samples of its pixels.
//
// Pixels come in chunks of as many as a vector has lanes, row by row from left to right: ForEach(drawn, take) calls
// take(chunk, counts, any) with a byte for each pixel, and whether any of them is not 0.
#pragma once

#include <type_traits>

#include "effect/render/fast/band.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// For the qualities that are drawn in chunks.
template <int Q>
struct ChunkCounts {
  static constexpr bool kThere = false;
};

#if defined(__AVX512F__)

// Strips have eight subsample rows, and chunks sixteen pixels: 32, 8 or 2 a word column.

// A pixel is a bit. Of so many chunks most are empty: they are left out.
template <>
struct ChunkCounts<1> {
  static constexpr bool kThere = true;
  template <typename Take>
  ORVANDEL_INLINE static void ForEach(const StripWords<8>::Vector& words, Take take) {
    const auto drawn = (__m512i)words;
    std::uint16_t bits[32];
    Store(bits, drawn);
    for (unsigned chunks = _mm512_test_epi16_mask(drawn, drawn); chunks != 0; chunks &= chunks - 1) {
      const int chunk = __builtin_ctz(chunks);
      take(chunk, _mm_maskz_set1_epi8(bits[chunk], 1), true);
    }
  }
};

// A pixel is two bits in each of two words.
template <>
struct ChunkCounts<2> {
  static constexpr bool kThere = true;
  template <typename Take>
  ORVANDEL_INLINE static void ForEach(const StripWords<8>::Vector& words, Take take) {
    const auto drawn = (__m512i)words;
    const __m512i odd = _mm512_set1_epi8(0x55), pairs = _mm512_set1_epi8(0x33), nibbles = _mm512_set1_epi8(0x0F);
    // Samples of one row's pixels, two bits each; then of both rows', four bits each: first those of the pixels with
    // even numbers, then the others.
    const __m512i one = _mm512_sub_epi64(drawn, _mm512_and_si512(_mm512_srli_epi64(drawn, 1), odd));
    const __m512i even = _mm512_and_si512(one, pairs), uneven = _mm512_and_si512(_mm512_srli_epi64(one, 2), pairs);
    const __m512i both = _mm512_add_epi64(_mm512_unpacklo_epi64(even, uneven), _mm512_unpackhi_epi64(even, uneven));
    // Pixels 0, 1, 4, 5 and so on, and 2, 3, 6, 7 and so on.
    const __m512i order = _mm512_broadcast_i32x4(_mm_setr_epi8(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15));
    const __m512i first = _mm512_shuffle_epi8(_mm512_and_si512(both, nibbles), order);
    const __m512i other = _mm512_shuffle_epi8(_mm512_and_si512(_mm512_srli_epi64(both, 4), nibbles), order);
    const __m512i left = _mm512_unpacklo_epi16(first, other), right = _mm512_unpackhi_epi16(first, other);
    const unsigned anyLeft = _mm512_test_epi64_mask(left, left), anyRight = _mm512_test_epi64_mask(right, right);
    __m128i counts[2][4];
    Store(counts[0], left);
    Store(counts[1], right);
    for (int row = 0; row < 4; ++row) {
      take(2 * row, counts[0][row], (anyLeft >> 2 * row & 3U) != 0);
      take(2 * row + 1, counts[1][row], (anyRight >> 2 * row & 3U) != 0);
    }
  }
};

// A pixel is four bits in each of four words: the four bytes of two pixels' rows side by side.
struct ByteOrder {
  alignas(64) std::uint8_t bytes[64];
  constexpr ByteOrder() : bytes() {
    for (int i = 0; i < 64; ++i) bytes[i] = static_cast<std::uint8_t>(i / 32 * 32 + i % 4 * 8 + i / 4 % 8);
  }
};
inline constexpr ByteOrder kByteOrder;

template <>
struct ChunkCounts<4> {
  static constexpr bool kThere = true;
  template <typename Take>
  ORVANDEL_INLINE static void ForEach(const StripWords<8>::Vector& words, Take take) {
    const __m512i drawn = _mm512_permutexvar_epi8(_mm512_loadu_si512(kByteOrder.bytes), (__m512i)words);
    const __m512i even = _mm512_popcnt_epi32(_mm512_and_si512(drawn, _mm512_set1_epi32(0x0F0F0F0F)));
    const __m512i odd = _mm512_popcnt_epi32(_mm512_and_si512(drawn, _mm512_set1_epi32(static_cast<int>(0xF0F0F0F0))));
    const __m256i counts = _mm512_cvtepi16_epi8(_mm512_or_si512(even, _mm512_slli_epi32(odd, 16)));
    const unsigned any = _mm512_test_epi32_mask(drawn, drawn);
    take(0, _mm256_castsi256_si128(counts), (any & 255U) != 0);
    take(1, _mm256_extracti128_si256(counts, 1), any > 255U);
  }
};

#else

// A pixel is four bits in each of four words, which are a strip's.
template <>
struct ChunkCounts<4> {
  static constexpr bool kThere = true;
  using Vector = StripWords<4>::Vector;
  template <typename Take>
  ORVANDEL_INLINE static void ForEach(const Vector& drawn, Take take) {
    typedef std::conditional_t<kLanes == 8, std::uint64_t, std::uint32_t> Bytes;
    std::uint8_t counts[16];
    CountNibbles(drawn, counts);
    for (int chunk = 0; chunk < 16 / kLanes; ++chunk) {
      const auto bytes = Load<Bytes>(counts + chunk * kLanes);
      take(chunk, bytes, bytes != 0);
    }
  }

 private:
  ORVANDEL_INLINE static void CountNibbles(Vector drawn, std::uint8_t* counts) {
    typedef std::uint64_t Two __attribute__((vector_size(16)));
    typedef std::uint8_t Sums __attribute__((vector_size(16)));
    drawn -= drawn >> 1 & 0x5555555555555555U;
    drawn = (drawn & 0x3333333333333333U) + (drawn >> 2 & 0x3333333333333333U);
    // A pixel's four rows add up to at most 16: one bit more than its nibble has.
    const Vector even = drawn & 0x0F0F0F0F0F0F0F0FU, odd = drawn >> 4 & 0x0F0F0F0F0F0F0F0FU;
    const Two evenPairs = __builtin_shufflevector(even, even, 0, 1) + __builtin_shufflevector(even, even, 2, 3);
    const Two oddPairs = __builtin_shufflevector(odd, odd, 0, 1) + __builtin_shufflevector(odd, odd, 2, 3);
    const Sums sums =
        (Sums)(__builtin_shufflevector(evenPairs, oddPairs, 0, 2) + __builtin_shufflevector(evenPairs, oddPairs, 1, 3));
    Store(counts, __builtin_shufflevector(sums, sums, 0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15));
  }
};

#endif

}  // namespace orvandel::fast::ORVANDEL_KERNELS
