// Alphas of four columns, added up lane by lane.
#pragma once

#include "effect/render/fast/lanes.h"

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

// Groups of four lanes: four rows of one pixel row.
inline constexpr int kGroups = kLanes / 4;

// The smallest of each group's lanes, in all four of them.
inline Ints SmallestOfGroup(const Ints& v) {
#if defined(__AVX512F__)
  const __m512i pairs = _mm512_min_epi32((__m512i)v, _mm512_shuffle_epi32((__m512i)v, _MM_PERM_CDAB));
  return (Ints)_mm512_min_epi32(pairs, _mm512_shuffle_epi32(pairs, _MM_PERM_BADC));
#else
  Ints result;
  for (int i = 0; i < kLanes; i += 4) {
    const std::int32_t smallest =
        Smaller(Smaller<std::int32_t>(v[i], v[i + 1]), Smaller<std::int32_t>(v[i + 2], v[i + 3]));
    for (int k = i; k < i + 4; ++k) result[k] = smallest;
  }
  return result;
#endif
}

// Lane k of each group of the result: the sum of that group's lanes of v[k].
inline Ints SumGroups(const Ints (&v)[4]) {
#if defined(__AVX512F__)
  const auto add = [](__m512i a, __m512i b) { return _mm512_add_epi32(a, b); };
  const __m512i v0 = (__m512i)v[0], v1 = (__m512i)v[1], v2 = (__m512i)v[2], v3 = (__m512i)v[3];
  const __m512i s01 = add(_mm512_unpacklo_epi32(v0, v1), _mm512_unpackhi_epi32(v0, v1));
  const __m512i s23 = add(_mm512_unpacklo_epi32(v2, v3), _mm512_unpackhi_epi32(v2, v3));
  return (Ints)add(_mm512_unpacklo_epi64(s01, s23), _mm512_unpackhi_epi64(s01, s23));
#elif defined(__AVX2__)
  const auto add = [](__m256i a, __m256i b) { return _mm256_hadd_epi32(a, b); };
  return (Ints)add(add((__m256i)v[0], (__m256i)v[1]), add((__m256i)v[2], (__m256i)v[3]));
#else
  Ints result;
  for (int k = 0; k < 4; ++k) result[k] = v[k][0] + v[k][1] + v[k][2] + v[k][3];
  return result;
#endif
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS
