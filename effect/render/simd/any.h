// What processors have that no other file here is for, and browsers: vectors of 16 bytes.
#pragma once

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__wasm_simd128__)
#include <wasm_simd128.h>
#endif

#include "effect/render/simd/portable.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

inline constexpr int kLanes = 4;
inline constexpr int kRowGroup = 4;

#if defined(__SSE2__)
ORVANDEL_INLINE Vec<std::uint64_t, 2> SumsOfEight(const Vec<std::uint8_t, 16>& bytes) {
  return (Vec<std::uint64_t, 2>)_mm_sad_epu8((__m128i)bytes, __m128i{});
}
ORVANDEL_INLINE unsigned MaskBits(const FourInts& mask) { return static_cast<unsigned>(_mm_movemask_ps((__m128)mask)); }
#elif defined(__wasm_simd128__)
template <typename V>
concept Is16Bytes = sizeof(V) == 16;

ORVANDEL_INLINE unsigned MaskBits(const FourInts& mask) {
  return static_cast<unsigned>(wasm_i32x4_bitmask((v128_t)mask));
}
template <Is16Bytes V>
ORVANDEL_INLINE bool Any(const V& v) {
  return wasm_v128_any_true((v128_t)v);
}
template <Is16Bytes V>
ORVANDEL_INLINE V Select(const Like<std::int32_t, V>& mask, const V& a, const V& b) {
  return (V)wasm_v128_bitselect((v128_t)a, (v128_t)b, (v128_t)mask);
}
template <Is16Bytes V>
ORVANDEL_INLINE FourInts Floor(const V& v) {
  return (FourInts)wasm_i32x4_trunc_sat_f32x4(wasm_f32x4_floor((v128_t)v));
}
template <Is16Bytes V>
ORVANDEL_INLINE FourInts Ceiling(const V& v) {
  return (FourInts)wasm_i32x4_trunc_sat_f32x4(wasm_f32x4_ceil((v128_t)v));
}
template <Is16Bytes V>
ORVANDEL_INLINE V WholePart(const V& v) {
  return (V)wasm_f32x4_trunc((v128_t)v);
}
template <Is16Bytes V>
ORVANDEL_INLINE V NextWhole(const V& v) {
  return (V)wasm_f32x4_ceil((v128_t)v);
}
#endif

using AllAlphas = AlphasOneByOne;
using AlphaWindow = AllAlphas;  // without look-ups in vectors windows gain nothing

}  // namespace orvandel::fast::ORVANDEL_KERNELS
