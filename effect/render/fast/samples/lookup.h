// Alphas of four columns, added up lane by lane.
#pragma once

#include "effect/render/simd/lanes.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// The profile's 512 alphas, ready for lookups by vectors of indices 0 to 511.
class AlphaLookup {
 public:
  // `alphas` has room for 4 more bytes behind its end.
  explicit AlphaLookup(const std::uint8_t* alphas) : alphas_(alphas) {
#if defined(__AVX512VBMI__)
    for (int i = 0; i < 8; ++i) table_[i] = _mm512_loadu_si512(alphas + 64 * i);
#endif
  }

  // sums += alphas[a] + alphas[b] + alphas[c] + alphas[d]
  void Add(const Ints& a, const Ints& b, const Ints& c, const Ints& d, Ints& sums) const {
#if defined(__AVX512VBMI__) && defined(__AVX512VNNI__)
    // The indices' low bytes side by side in every lane, and their ninth bits as a mask. 128 entries are one
    // permutation; the eighth and the ninth bit choose among four.
    const __m512i ac = (__m512i)(a | c << 16), bd = (__m512i)(b | d << 16);
    const __m512i lowHalves = _mm512_set1_epi32(0x00FF00FF);
    constexpr int kSelect = 0xCA;  // first operand ? second : third
    const __m512i low = _mm512_ternarylogic_epi32(lowHalves, ac, _mm512_slli_epi32(bd, 8), kSelect);
    const __m512i high = _mm512_ternarylogic_epi32(lowHalves, _mm512_srli_epi32(ac, 8), bd, kSelect);
    const __mmask64 eighth = _mm512_movepi8_mask(low);
    const __mmask64 ninth = _mm512_test_epi8_mask(high, high);
    const __m512i lower = _mm512_mask_blend_epi8(eighth, _mm512_permutex2var_epi8(table_[0], low, table_[1]),
                                                 _mm512_permutex2var_epi8(table_[2], low, table_[3]));
    const __m512i upper = _mm512_mask_blend_epi8(eighth, _mm512_permutex2var_epi8(table_[4], low, table_[5]),
                                                 _mm512_permutex2var_epi8(table_[6], low, table_[7]));
    sums = (Ints)_mm512_dpbusd_epi32((__m512i)sums, _mm512_mask_blend_epi8(ninth, lower, upper), _mm512_set1_epi8(1));
#else
    sums += At(a) + At(b) + At(c) + At(d);
#endif
  }

 private:
  Ints At(const Ints& index) const {
#if defined(__AVX2__) && !defined(__AVX512F__)
    return (Ints)_mm256_i32gather_epi32(reinterpret_cast<const int*>(alphas_), (__m256i)index, 1) & 255;
#else
    Ints values;
    for (int i = 0; i < kLanes; ++i) values[i] = alphas_[index[i]];
    return values;
#endif
  }

  const std::uint8_t* alphas_;
#if defined(__AVX512VBMI__)
  __m512i table_[8];
#endif
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
