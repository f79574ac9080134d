// What AVX-512 with VBMI, VBMI2, VNNI, VPOPCNTDQ and VPCLMULQDQ has for vectors of 64 bytes; see portable.h.
#pragma once

#include "effect/render/simd/avx2.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

inline constexpr int kLanes = 16;
inline constexpr int kRowGroup = 8;

template <typename V>
concept Is64Bytes = sizeof(V) == 64;
using SixteenInts = Vec<std::int32_t, 16>;

template <Is64Bytes V>
ORVANDEL_INLINE SixteenInts Floor(const V& v) {
  return (SixteenInts)_mm512_cvt_roundps_epi32(v, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
}
template <Is64Bytes V>
ORVANDEL_INLINE SixteenInts Ceiling(const V& v) {
  return (SixteenInts)_mm512_cvt_roundps_epi32(v, _MM_FROUND_TO_POS_INF | _MM_FROUND_NO_EXC);
}
template <Is64Bytes V>
ORVANDEL_INLINE V WholePart(const V& v) {
  return _mm512_roundscale_ps(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
}
template <Is64Bytes V>
ORVANDEL_INLINE V NextWhole(const V& v) {
  return _mm512_roundscale_ps(v, _MM_FROUND_TO_POS_INF | _MM_FROUND_NO_EXC);
}
template <Is64Bytes V>
ORVANDEL_INLINE V SquareRoot(const V& v) {
  return _mm512_sqrt_ps(v);
}
template <Is64Bytes V>
ORVANDEL_INLINE V ExactMultiplyAdd(const V& a, const V& b, const V& c) {
  return _mm512_fmadd_ps(a, b, c);
}
template <Is64Bytes V>
ORVANDEL_INLINE bool Any(const V& v) {
  return _mm512_test_epi32_mask((__m512i)v, (__m512i)v) != 0;
}
// Masks of sixteen lanes and of their halves, where comparisons leave them.
template <int lanes>
struct LaneMask {
  __mmask16 bits;
  friend LaneMask operator&(LaneMask a, LaneMask b) { return {static_cast<__mmask16>(a.bits & b.bits)}; }
  friend LaneMask operator|(LaneMask a, LaneMask b) { return {static_cast<__mmask16>(a.bits | b.bits)}; }
};
template <>
struct MaskTypeOf<16> {
  using Type = LaneMask<16>;
};
ORVANDEL_INLINE LaneMask<16> AtMost(const __m512& a, const __m512& b) { return {_mm512_cmp_ps_mask(a, b, _CMP_LE_OQ)}; }
ORVANDEL_INLINE LaneMask<16> AtMost(const SixteenInts& a, const SixteenInts& b) {
  return {_mm512_cmple_epi32_mask((__m512i)a, (__m512i)b)};
}
ORVANDEL_INLINE LaneMask<16> Less(const SixteenInts& a, const SixteenInts& b) {
  return {_mm512_cmplt_epi32_mask((__m512i)a, (__m512i)b)};
}
ORVANDEL_INLINE LaneMask<16> LessUnsigned(const SixteenInts& a, const SixteenInts& b) {
  return {_mm512_cmplt_epu32_mask((__m512i)a, (__m512i)b)};
}
template <Is64Bytes V>
ORVANDEL_INLINE V Select(LaneMask<16> mask, const V& a, const V& b) {
  return (V)_mm512_mask_mov_epi32((__m512i)b, mask.bits, (__m512i)a);
}
ORVANDEL_INLINE LaneMask<8> LowHalf(LaneMask<16> mask) { return {static_cast<__mmask16>(mask.bits & 255)}; }
ORVANDEL_INLINE LaneMask<8> HighHalf(LaneMask<16> mask) { return {static_cast<__mmask16>(mask.bits >> 8)}; }
template <int lanes>
ORVANDEL_INLINE bool Any(LaneMask<lanes> mask) {
  return mask.bits != 0;
}
template <Is64Bytes V>
ORVANDEL_INLINE unsigned MaskBits(const V& mask) {
  return _mm512_movepi32_mask((__m512i)mask);
}

// Both take the second number where one is none.
ORVANDEL_INLINE __m512 Smaller(const __m512& a, const __m512& b) { return _mm512_min_ps(a, b); }
ORVANDEL_INLINE __m512 Larger(const __m512& a, const __m512& b) { return _mm512_max_ps(a, b); }
template <Is64Bytes V>
ORVANDEL_INLINE auto HighHalf(const V& v) {
  return (Vec<LaneOf<V>, kLanesOf<V> / 2>)_mm512_extracti64x4_epi64((__m512i)v, 1);
}
template <Is64Bytes V>
ORVANDEL_INLINE bool AnyWhere(const SixteenInts& mask, const V& v) {
  return _mm512_mask_test_epi32_mask(_mm512_test_epi32_mask((__m512i)mask, (__m512i)mask), (__m512i)v, (__m512i)v) != 0;
}
template <Is64Bytes V>
ORVANDEL_INLINE void StoreWhere(void* to, const SixteenInts& mask, const V& v, const V&) {
  _mm512_mask_storeu_epi32(to, _mm512_test_epi32_mask((__m512i)mask, (__m512i)mask), (__m512i)v);
}
template <Is64Bytes V>
inline constexpr bool kHasLookUp<V> = true;
template <Is64Bytes V>
ORVANDEL_INLINE V LookUp(const V (&table)[2], const V& numbers) {
  return (V)_mm512_permutex2var_epi32((__m512i)table[0], (__m512i)numbers, (__m512i)table[1]);
}

template <Is64Bytes V>
ORVANDEL_INLINE V LoadWidened(const std::uint8_t* from) {
  return (V)_mm512_cvtepu8_epi32(_mm_loadu_si128((const __m128i*)from));
}
template <Is64Bytes V>
ORVANDEL_INLINE V LoadWidened(const std::uint16_t* from) {
  return (V)_mm512_cvtepu16_epi32(_mm256_loadu_si256((const __m256i*)from));
}
template <Is32Bytes V>
ORVANDEL_INLINE Vec<std::uint64_t, 8> Widened(const V& v) {
  return (Vec<std::uint64_t, 8>)_mm512_cvtepu32_epi64((__m256i)v);
}
template <int from, int to, Is64Bytes V>
ORVANDEL_INLINE V MoveByte(const V& v) {
  return (V)_mm512_shuffle_epi8((__m512i)v, _mm512_broadcast_i32x4(ByteMoves<from, to>()));
}
template <Is64Bytes V>
ORVANDEL_INLINE V ShiftedLeft(const V& v, const V& counts) {
  return (V)_mm512_sllv_epi64((__m512i)v, (__m512i)counts);
}
template <Is64Bytes V>
ORVANDEL_INLINE V Parities(const V& v) {
  // The product without carries by a number of all ones.
  const auto words = (__m512i)v, ones = _mm512_set1_epi64(-1);
  return (V)_mm512_unpacklo_epi64(_mm512_clmulepi64_epi128(words, ones, 0x00),
                                  _mm512_clmulepi64_epi128(words, ones, 0x01));
}
template <Is16Bytes Bytes>
ORVANDEL_INLINE Bytes SpreadBits(std::uint64_t bits) {
  return (Bytes)_mm_maskz_set1_epi8(static_cast<__mmask16>(bits), 1);
}
ORVANDEL_INLINE WordSpan WordSpanOf(const Vec<std::int32_t, 8>& first, const Vec<std::int32_t, 8>& last) {
  const auto words = [](const Vec<std::int32_t, 8>& columns) __attribute__((always_inline)) {
    return _mm256_cvtepi32_epi16(_mm256_srli_epi32((__m256i)columns, 6));
  };
  return WordSpanOf(words(first), words(last));
}
ORVANDEL_INLINE void WordSpansOf(const SixteenInts& first, const SixteenInts& last, WordSpan& low, WordSpan& high) {
  const auto words = [](const SixteenInts& columns) __attribute__((always_inline)) {
    return _mm512_cvtepi32_epi16(_mm512_srli_epi32((__m512i)columns, 6));
  };
  const __m256i firstWords = words(first), lastWords = words(last);
  low = WordSpanOf(_mm256_castsi256_si128(firstWords), _mm256_castsi256_si128(lastWords));
  high = WordSpanOf(_mm256_extracti128_si256(firstWords, 1), _mm256_extracti128_si256(lastWords, 1));
}

// Most items are 0: they are left out at once.
template <int bits, Is64Bytes V, typename Visit>
requires(bits == 16) ORVANDEL_INLINE void ForItems(const V (&v)[1], Visit visit) {
  std::uint16_t items[32];
  Store(items, v);
  for (unsigned left = _mm512_test_epi16_mask((__m512i)v[0], (__m512i)v[0]); left != 0; left &= left - 1) {
    const int item = __builtin_ctz(left);
    visit(item, items[item]);
  }
}

// The bytes of four words side by side, two nibbles of each.
struct FourRowOrder {
  alignas(64) std::uint8_t bytes[64];
  constexpr FourRowOrder() : bytes() {
    for (int i = 0; i < 64; ++i) bytes[i] = static_cast<std::uint8_t>(i / 32 * 32 + i % 4 * 8 + i / 4 % 8);
  }
};
inline constexpr FourRowOrder kFourRowOrder;
template <Is64Bytes V>
inline constexpr bool kHasFourRowCounts<V> = true;
template <Is64Bytes V>
ORVANDEL_INLINE Vec<std::uint8_t, 32> FourRowCounts(const V& words) {
  const __m512i pairs = _mm512_permutexvar_epi8(_mm512_load_si512(kFourRowOrder.bytes), (__m512i)words);
  const __m512i low = _mm512_set1_epi8(15);
  const __m512i even = _mm512_popcnt_epi32(_mm512_and_si512(pairs, low));
  const __m512i odd = _mm512_popcnt_epi32(_mm512_andnot_si512(low, pairs));
  return (Vec<std::uint8_t, 32>)_mm512_cvtepi16_epi8(_mm512_or_si512(even, _mm512_slli_epi32(odd, 16)));
}

struct ByteNumbers {
  alignas(64) std::uint8_t bytes[64];
  constexpr ByteNumbers() : bytes() {
    for (int i = 0; i < 64; ++i) bytes[i] = static_cast<std::uint8_t>(i);
  }
};
inline constexpr ByteNumbers kByteNumbers;

ORVANDEL_INLINE std::int32_t ListSetBits(std::uint64_t set, std::uint32_t base, std::uint32_t* to) {
  const std::int32_t count = __builtin_popcountll(set);
  const __m512i inAll = _mm512_set1_epi32(static_cast<std::int32_t>(base));
  __m512i numbers = _mm512_maskz_compress_epi8(set, _mm512_load_si512(kByteNumbers.bytes));
  std::int32_t listed = 0;
  do {
    const __m512i words = _mm512_cvtepu8_epi32(_mm512_castsi512_si128(numbers));
    _mm512_storeu_si512(to + listed, _mm512_add_epi32(words, inAll));
    numbers = _mm512_alignr_epi64(numbers, numbers, 2);
    listed += 16;
  } while (listed < count);
  return count;
}

// Sums of eight bytes each, and of four.
ORVANDEL_INLINE Vec<std::uint64_t, 8> SumsOfEight(const Vec<std::uint8_t, 64>& bytes) {
  return (Vec<std::uint64_t, 8>)_mm512_sad_epu8((__m512i)bytes, __m512i{});
}
ORVANDEL_INLINE Vec<std::uint32_t, 16> SumsOfFour(const Vec<std::uint8_t, 64>& bytes) {
  return (Vec<std::uint32_t, 16>)_mm512_dpbusd_epi32(__m512i{}, (__m512i)bytes, _mm512_set1_epi8(1));
}

// A window of 128 neighbouring alphas for four columns of sixteen rows: one permutation.
class AlphaWindow {
 public:
  using Bytes = Vec<std::uint8_t, 64>;  // for every four rows those of the first column, of the second and so on
  using Mask = __mmask64;               // of such bytes
  static constexpr std::int32_t kEntries = 128;

  ORVANDEL_INLINE void Place(const std::uint8_t* alphas, std::int32_t first) {
    low_ = _mm512_loadu_si512(alphas + first);
    high_ = _mm512_loadu_si512(alphas + first + 64);
    first_ = _mm512_set1_epi16(static_cast<std::int16_t>(first));
  }
  // The alphas at `index`, one column a vector, where `counted`; else 0.
  ORVANDEL_INLINE Bytes Alphas(const SixteenInts (&index)[4], Mask counted) const {
    const auto pair = [&](int i) __attribute__((always_inline)) {
      return _mm512_sub_epi16(_mm512_packs_epi32((__m512i)index[i], (__m512i)index[i + 1]), first_);
    };
    const __m512i entries = _mm512_packus_epi16(pair(0), pair(2));
    return (Bytes)_mm512_maskz_permutex2var_epi8(counted, low_, entries, high_);
  }
  // 1 in the bytes of a mask.
  static Bytes Ones(Mask mask) { return (Bytes)_mm512_maskz_set1_epi8(mask, 1); }
  // All columns of the rows in a mask.
  static Mask AllOf(const SixteenInts& rows) { return _mm512_movepi8_mask(InBytes((__m512i)rows)); }
  static Mask FirstColumns(std::int32_t count) {
    return _cvtu64_mask64((~std::uint64_t{0} >> (64 - 4 * count)) * 0x0001000100010001U);
  }
  // Column from + k of each row when first <= from + k < end.
  ORVANDEL_INLINE static Mask Within(const SixteenInts& first, const SixteenInts& end, std::int32_t from) {
    const __m512i columns = _mm512_broadcast_i32x4(_mm_setr_epi32(0, 0x01010101, 0x02020202, 0x03030303));
    const __m512i origin = _mm512_set1_epi32(from);
    const __m512i begins = InBytes(_mm512_sub_epi32((__m512i)first, origin));
    const __m512i ends = InBytes(_mm512_sub_epi32((__m512i)end, origin));
    return _mm512_mask_cmpgt_epi8_mask(_mm512_cmple_epi8_mask(begins, columns), ends, columns);
  }

 private:
  // Each number as the four bytes for its row, cut off at the range of a byte.
  ORVANDEL_INLINE static __m512i InBytes(const __m512i& numbers) {
    const __m512i halves = _mm512_packs_epi32(numbers, numbers);
    return _mm512_packs_epi16(halves, halves);
  }

  __m512i low_, high_;
  __m512i first_;  // its first entry
};

// All 512 alphas: 128 are one permutation, and the eighth and ninth bits of an index choose among four.
class AllAlphas : public AlphaWindow {
 public:
  static constexpr std::int32_t kEntries = 512;

  void Place(const std::uint8_t* alphas, std::int32_t) {
    for (int i = 0; i < 8; ++i) table_[i] = _mm512_loadu_si512(alphas + 64 * i);
  }
  ORVANDEL_INLINE Bytes Alphas(const SixteenInts (&index)[4], Mask counted) const {
    const __m512i a = _mm512_packs_epi32((__m512i)index[0], (__m512i)index[1]);
    const __m512i b = _mm512_packs_epi32((__m512i)index[2], (__m512i)index[3]);
    const __m512i byte = _mm512_set1_epi16(255);
    const __m512i low = _mm512_packus_epi16(_mm512_and_si512(a, byte), _mm512_and_si512(b, byte));
    const __m512i high = _mm512_packus_epi16(_mm512_srli_epi16(a, 8), _mm512_srli_epi16(b, 8));
    const __mmask64 eighth = _mm512_movepi8_mask(low), ninth = _mm512_test_epi8_mask(high, high);
    const auto among256 = [&](int part) __attribute__((always_inline)) {
      return _mm512_mask_blend_epi8(eighth, _mm512_permutex2var_epi8(table_[part], low, table_[part + 1]),
                                    _mm512_permutex2var_epi8(table_[part + 2], low, table_[part + 3]));
    };
    return (Bytes)_mm512_maskz_mov_epi8(counted, _mm512_mask_blend_epi8(ninth, among256(0), among256(4)));
  }

 private:
  __m512i table_[8];
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
