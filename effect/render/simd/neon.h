// What 64-bit ARM has for vectors of 16 bytes; see portable.h.
#pragma once

#include <arm_neon.h>

#include "effect/render/simd/portable.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

inline constexpr int kLanes = 4;
inline constexpr int kRowGroup = 4;

template <typename V>
concept Is16Bytes = sizeof(V) == 16;

template <Is16Bytes V>
ORVANDEL_INLINE FourInts Floor(const V& v) {
  return (FourInts)vcvtmq_s32_f32((float32x4_t)v);
}
template <Is16Bytes V>
ORVANDEL_INLINE FourInts Ceiling(const V& v) {
  return (FourInts)vcvtpq_s32_f32((float32x4_t)v);
}
template <Is16Bytes V>
ORVANDEL_INLINE V WholePart(const V& v) {
  return (V)vrndq_f32((float32x4_t)v);
}
template <Is16Bytes V>
ORVANDEL_INLINE V NextWhole(const V& v) {
  return (V)vrndpq_f32((float32x4_t)v);
}
template <Is16Bytes V>
ORVANDEL_INLINE V SquareRoot(const V& v) {
  return (V)vsqrtq_f32((float32x4_t)v);
}
template <Is16Bytes V>
ORVANDEL_INLINE V ExactMultiplyAdd(const V& a, const V& b, const V& c) {
  return (V)vfmaq_f32((float32x4_t)c, (float32x4_t)a, (float32x4_t)b);
}
template <Is16Bytes V>
ORVANDEL_INLINE bool Any(const V& v) {
  return vmaxvq_u32((uint32x4_t)v) != 0;
}
template <Is16Bytes V>
ORVANDEL_INLINE unsigned MaskBits(const V& mask) {
  const uint32x4_t bitOfLane = {1, 2, 4, 8};
  return vaddvq_u32((uint32x4_t)mask & bitOfLane);
}

// Sums of eight bytes each.
ORVANDEL_INLINE Vec<std::uint64_t, 2> SumsOfEight(const Vec<std::uint8_t, 16>& bytes) {
  return (Vec<std::uint64_t, 2>)vpaddlq_u32(vpaddlq_u16(vpaddlq_u8((uint8x16_t)bytes)));
}

using AlphaLookup = AlphaLookupOneByOne;

// A window of 64 neighbouring alphas for four columns of four rows: one look-up.
class AlphaWindow {
 public:
  using Bytes = Vec<std::uint8_t, 16>;  // those of the first column, of the second and so on
  using Mask = Bytes;                   // of such bytes
  static constexpr std::int32_t kEntries = 64;

  ORVANDEL_INLINE void Place(const std::uint8_t* alphas, std::int32_t first) {
    for (int i = 0; i < 4; ++i) parts_.val[i] = vld1q_u8(alphas + first + 16 * i);
    first_ = vdupq_n_s16(static_cast<std::int16_t>(first));
  }
  // The alphas at `index`, one column a vector, where `counted`; else 0.
  ORVANDEL_INLINE Bytes Alphas(const FourInts (&index)[4], const Mask& counted) const {
    const auto pair = [&](int i) __attribute__((always_inline)) {
      return vsubq_s16(vqmovn_high_s32(vqmovn_s32((int32x4_t)index[i]), (int32x4_t)index[i + 1]), first_);
    };
    const uint8x16_t entries = vqmovun_high_s16(vqmovun_s16(pair(0)), pair(2));
    return (Bytes)vqtbl4q_u8(parts_, entries) & counted;
  }
  // All columns of the rows in a mask.
  ORVANDEL_INLINE static Mask AllOf(const FourInts& rows) { return (Mask)InBytes(rows); }
  ORVANDEL_INLINE static Mask FirstColumns(std::int32_t count) {
    return (Mask)vcgtq_s8(vdupq_n_s8(static_cast<std::int8_t>(count)), kColumns);
  }
  // Column from + k of each row when first <= from + k < end.
  ORVANDEL_INLINE static Mask Within(const FourInts& first, const FourInts& end, std::int32_t from) {
    const auto distance = [&](const FourInts& v) __attribute__((always_inline)) {
      return InBytes(WrappingDifference(v, FourInts{} + from));
    };
    return (Mask)(vcleq_s8(distance(first), kColumns) & vcgtq_s8(distance(end), kColumns));
  }

 private:
  static constexpr int8x16_t kColumns = {0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3};
  // Each number as the byte for its row, in every column, cut off at the range of a byte.
  ORVANDEL_INLINE static int8x16_t InBytes(const FourInts& numbers) {
    const int16x4_t halves = vqmovn_s32((int32x4_t)numbers);
    const int8x8_t bytes = vqmovn_s16(vcombine_s16(halves, halves));
    return vcombine_s8(bytes, bytes);
  }

  uint8x16x4_t parts_;
  int16x8_t first_;  // its first entry
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
