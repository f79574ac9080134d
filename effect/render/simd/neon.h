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

using AllAlphas = AlphasOneByOne;

// A window of 64 neighbouring alphas for four columns of four rows: one look-up.
class AlphaWindow : public AllAlphas {
 public:
  static constexpr std::int32_t kEntries = 64;

  ORVANDEL_INLINE void Place(const std::uint8_t* alphas, std::int32_t first) {
    for (int i = 0; i < 4; ++i) parts_.val[i] = vld1q_u8(alphas + first + 16 * i);
    first_ = vdupq_n_u8(static_cast<std::uint8_t>(first));
  }
  // Indices that count are less than a byte's range apart.
  ORVANDEL_INLINE Bytes Alphas(const FourInts (&index)[4], const Mask& counted) const {
    return (Bytes)vqtbl4q_u8(parts_, (uint8x16_t)RowByRow(index) - first_) & counted;
  }

 private:
  uint8x16x4_t parts_;
  uint8x16_t first_;  // its first entry
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
