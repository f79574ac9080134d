// Many words as one vector, and what is asked of a strip's words.
#pragma once

#include "effect/render/simd/lanes.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

inline constexpr std::int32_t kLargestQuality = 16;

template <int count>
struct LongWords;
template <>
struct LongWords<2> {
  typedef std::uint64_t Vector __attribute__((vector_size(16)));
};
template <>
struct LongWords<4> {
  typedef std::uint64_t Vector __attribute__((vector_size(32)));
};
template <>
struct LongWords<8> {
  typedef std::uint64_t Vector __attribute__((vector_size(64)));
};

#if defined(__AVX512F__)
// Two vectors as one. Compilers keep vectors that are longer than the processor's in memory.
struct SixteenWords {
  using Eight = LongWords<8>::Vector;
  Eight upper, lower;
  std::uint64_t operator[](int i) const { return i < 8 ? upper[i] : lower[i - 8]; }
};
#define ORVANDEL_OF_SIXTEEN(op)                                                            \
  ORVANDEL_INLINE SixteenWords operator op(const SixteenWords& a, const SixteenWords& b) { \
    return {a.upper op b.upper, a.lower op b.lower};                                       \
  }                                                                                        \
  ORVANDEL_INLINE SixteenWords operator op(const SixteenWords& a, std::uint64_t b) {       \
    return {a.upper op b, a.lower op b};                                                   \
  }
ORVANDEL_OF_SIXTEEN(^)
ORVANDEL_OF_SIXTEEN(&)
ORVANDEL_OF_SIXTEEN(|)
ORVANDEL_OF_SIXTEEN(+)
ORVANDEL_OF_SIXTEEN(-)
ORVANDEL_OF_SIXTEEN(<<)
ORVANDEL_OF_SIXTEEN(>>)
#undef ORVANDEL_OF_SIXTEEN
ORVANDEL_INLINE SixteenWords operator~(const SixteenWords& a) { return {~a.upper, ~a.lower}; }
ORVANDEL_INLINE SixteenWords operator-(const SixteenWords& a) { return {-a.upper, -a.lower}; }
template <>
struct LongWords<16> {
  typedef SixteenWords Vector;
};
#else
template <>
struct LongWords<16> {
  typedef std::uint64_t Vector __attribute__((vector_size(128)));
};
#endif

// The n words of one strip and word column as a vector, row by row of subsamples; n may be told when it is used.
template <int n>
struct StripWords {
  static constexpr int kWords = n == 0 ? kLargestQuality : n == 1 ? 2 : n;  // vectors have two elements at least
  using Vector = typename LongWords<kWords>::Vector;
#if defined(__AVX512F__)
  static constexpr bool kHalved = kWords == 16;
#else
  static constexpr bool kHalved = false;
#endif
  using Half = StripWords<8>;  // where it is halved

  ORVANDEL_INLINE static Vector Load(const std::uint64_t* from, std::int32_t rows) {
    if constexpr (kHalved && n != 0) {
      return {Half::Load(from, 8), Half::Load(from + 8, 8)};
#if defined(__AVX512F__)
    } else if constexpr (kHalved) {
      const unsigned all = (1U << rows) - 1;
      return {(LongWords<8>::Vector)_mm512_maskz_loadu_epi64(static_cast<__mmask8>(all), from),
              (LongWords<8>::Vector)_mm512_maskz_loadu_epi64(static_cast<__mmask8>(all >> 8), from + 8)};
#endif
    } else {
      Vector vector{};
      __builtin_memcpy(&vector, from, 8 * static_cast<std::size_t>(n != 0 ? n : rows));
      return vector;
    }
  }
  ORVANDEL_INLINE static void Store(std::uint64_t* to, const Vector& vector, std::int32_t rows) {
    if constexpr (kHalved && n != 0) {
      Half::Store(to, vector.upper, 8);
      Half::Store(to + 8, vector.lower, 8);
#if defined(__AVX512F__)
    } else if constexpr (kHalved) {
      const unsigned all = (1U << rows) - 1;
      _mm512_mask_storeu_epi64(to, static_cast<__mmask8>(all), (__m512i)vector.upper);
      _mm512_mask_storeu_epi64(to + 8, static_cast<__mmask8>(all >> 8), (__m512i)vector.lower);
#endif
    } else {
      __builtin_memcpy(to, &vector, 8 * static_cast<std::size_t>(n != 0 ? n : rows));
    }
  }

  // Bit i of the result: the parity of bits 0 to i.
  ORVANDEL_INLINE static void TakeParity(Vector& v) {
    if constexpr (kHalved) {
      Half::TakeParity(v.upper);
      Half::TakeParity(v.lower);
      return;
    }
#if defined(__AVX512F__)
    if constexpr (kWords == 8) {
      // The product without carries by a number of all ones.
      const auto words = (__m512i)v, ones = _mm512_set1_epi64(-1);
      v = (Vector)_mm512_unpacklo_epi64(_mm512_clmulepi64_epi128(words, ones, 0x00),
                                        _mm512_clmulepi64_epi128(words, ones, 0x01));
      return;
    }
#endif
    v = v ^ (v << 1);
    v = v ^ (v << 2);
    v = v ^ (v << 4);
    v = v ^ (v << 8);
    v = v ^ (v << 16);
    v = v ^ (v << 32);
  }

  // Of all words.
  ORVANDEL_INLINE static std::uint64_t Sum(const Vector& v) {
    if constexpr (kHalved) {
      return Half::Sum(v.upper + v.lower);
    } else {
      return SumOf<kWords>(v);
    }
  }
  ORVANDEL_INLINE static bool Any(const Vector& v) {
    if constexpr (kHalved) {
      return Half::Any(v.upper | v.lower);
    } else {
#if defined(__AVX2__)
      if constexpr (kWords == 4) return _mm256_testz_si256((__m256i)v, (__m256i)v) == 0;
#endif
#if defined(__AVX512F__)
      if constexpr (kWords == 8) return _mm512_test_epi64_mask((__m512i)v, (__m512i)v) != 0;
#endif
      std::uint64_t any = 0;
      for (int i = 0; i < kWords; ++i) any |= v[i];
      return any != 0;
    }
  }

 private:
  template <int words>
  ORVANDEL_INLINE static std::uint64_t SumOf(const typename LongWords<words>::Vector& v) {
    if constexpr (words == 2) {
      return v[0] + v[1];
    } else {
      typename LongWords<words / 2>::Vector halves[2];
      __builtin_memcpy(halves, &v, sizeof v);
      return SumOf<words / 2>(halves[0] + halves[1]);
    }
  }
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
