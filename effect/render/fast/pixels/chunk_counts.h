// Marks of a strip's word column -> samples of its pixels.
//
// Pixels come in chunks of as many as a vector has lanes, row by row from left to right: ForEach(drawn, take) calls
// take(chunk, counts, any) with a byte for each pixel, and whether any of them is not 0.
#pragma once

#include "effect/render/fast/marks/band.h"

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

// Strips have four subsample rows.
using FourWordRows = StripWords<4>::Vector;

#if defined(__AVX2__)
typedef std::uint64_t ChunkBytes;
#else
typedef std::uint32_t ChunkBytes;
#endif

// Calls take for chunks `first` and on, whose bytes are given.
template <int chunks, typename Take>
ORVANDEL_INLINE void TakeChunks(int first, const std::uint8_t* counts, Take take) {
  for (int chunk = 0; chunk < chunks; ++chunk) {
    const auto bytes = Load<ChunkBytes>(counts + chunk * kLanes);
    take(first + chunk, bytes, bytes != 0);
  }
}

typedef std::uint64_t TwoWords __attribute__((vector_size(16)));
typedef std::uint8_t SixteenBytes __attribute__((vector_size(16)));

// A pixel is a bit.
template <>
struct ChunkCounts<1> {
  static constexpr bool kThere = true;
  template <typename Take>
  ORVANDEL_INLINE static void ForEach(const FourWordRows& drawn, Take take) {
    constexpr std::uint64_t kPixels = (1U << kLanes) - 1;
    for (int row = 0; row < 4; ++row) {
      for (std::uint64_t bits = drawn[row]; bits != 0;) {
        const int chunk = __builtin_ctzll(bits) / kLanes;
        take(row * (64 / kLanes) + chunk, Spread(bits >> chunk * kLanes & kPixels), true);
        bits &= ~(kPixels << chunk * kLanes);
      }
    }
  }

 private:
  // Bit k as byte k.
  ORVANDEL_INLINE static ChunkBytes Spread(std::uint64_t bits) {
#if defined(__AVX2__)
    return _pdep_u64(bits, 0x0101010101010101U);
#else
    return static_cast<ChunkBytes>(bits * 0x00204081U & 0x01010101U);
#endif
  }
};

// A pixel is two bits in each of two words.
template <>
struct ChunkCounts<2> {
  static constexpr bool kThere = true;
  template <typename Take>
  ORVANDEL_INLINE static void ForEach(const FourWordRows& drawn, Take take) {
    // Samples of one row's pixels, two bits each; of pixels with even numbers and of the others, four bits each.
    const FourWordRows one = drawn - (drawn >> 1 & 0x5555555555555555U);
    const FourWordRows even = one & 0x3333333333333333U, odd = one >> 2 & 0x3333333333333333U;
    for (int row = 0; row < 2; ++row) {
      const TwoWords both{even[2 * row] + even[2 * row + 1], odd[2 * row] + odd[2 * row + 1]};
      const auto a = (SixteenBytes)(both & 0x0F0F0F0F0F0F0F0FU), b = (SixteenBytes)(both >> 4 & 0x0F0F0F0F0F0F0F0FU);
      std::uint8_t counts[32];
      Store(counts, __builtin_shufflevector(a, b, 0, 8, 16, 24, 1, 9, 17, 25, 2, 10, 18, 26, 3, 11, 19, 27));
      Store(counts + 16, __builtin_shufflevector(a, b, 4, 12, 20, 28, 5, 13, 21, 29, 6, 14, 22, 30, 7, 15, 23, 31));
      TakeChunks<32 / kLanes>(row * (32 / kLanes), counts, take);
    }
  }
};

// A pixel is four bits in each of four words.
template <>
struct ChunkCounts<4> {
  static constexpr bool kThere = true;
  template <typename Take>
  ORVANDEL_INLINE static void ForEach(const FourWordRows& drawn, Take take) {
    const FourWordRows pairs = drawn - (drawn >> 1 & 0x5555555555555555U);
    const FourWordRows fours = (pairs & 0x3333333333333333U) + (pairs >> 2 & 0x3333333333333333U);
    // A pixel's four rows add up to at most 16: one bit more than its nibble has.
    const FourWordRows even = fours & 0x0F0F0F0F0F0F0F0FU, odd = fours >> 4 & 0x0F0F0F0F0F0F0F0FU;
    const TwoWords evenPairs = __builtin_shufflevector(even, even, 0, 1) + __builtin_shufflevector(even, even, 2, 3);
    const TwoWords oddPairs = __builtin_shufflevector(odd, odd, 0, 1) + __builtin_shufflevector(odd, odd, 2, 3);
    const auto sums = (SixteenBytes)(__builtin_shufflevector(evenPairs, oddPairs, 0, 2) +
                                     __builtin_shufflevector(evenPairs, oddPairs, 1, 3));
    std::uint8_t counts[16];
    Store(counts, __builtin_shufflevector(sums, sums, 0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15));
    TakeChunks<16 / kLanes>(0, counts, take);
  }
};

#endif

}  // namespace orvandel::fast::ORVANDEL_KERNELS
