// Vectors as wide as the instruction set has them, and the few operations that the compiler's vector types lack.
//
// Everything here rounds like the scalar operation of the same name: a lane of a vector division is the division.
// The including file defines ORVANDEL_KERNELS, a namespace of its own: the same inline function compiled for two
// instruction sets must not be one function to the linker. For the same reason nothing here or in the other kernel
// headers calls an inline function from elsewhere.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

// For what runs once a row or more often.
#define ORVANDEL_INLINE __attribute__((always_inline)) inline

namespace orvandel::fast::ORVANDEL_KERNELS {

#if defined(__AVX512F__)
inline constexpr int kLanes = 16;
#elif defined(__AVX2__)
inline constexpr int kLanes = 8;
#else
inline constexpr int kLanes = 4;
#endif

typedef float Floats __attribute__((vector_size(4 * kLanes)));
typedef std::int32_t Ints __attribute__((vector_size(4 * kLanes)));
typedef std::uint32_t Words __attribute__((vector_size(4 * kLanes)));
typedef std::uint16_t Halves __attribute__((vector_size(2 * kLanes)));

template <typename Vector>
inline Vector Load(const void* from) {
  Vector vector;
  __builtin_memcpy(&vector, from, sizeof vector);
  return vector;
}

template <typename Vector>
inline void Store(void* to, const Vector& vector) {
  __builtin_memcpy(to, &vector, sizeof vector);
}

template <typename Number>
constexpr Number Smaller(Number a, Number b) {
  return a < b ? a : b;
}
template <typename Number>
constexpr Number Larger(Number a, Number b) {
  return a > b ? a : b;
}

ORVANDEL_INLINE Floats ToFloats(const Ints& v) { return __builtin_convertvector(v, Floats); }
ORVANDEL_INLINE Ints Truncate(const Floats& v) { return __builtin_convertvector(v, Ints); }  // |v| < 2^31

// Arithmetic that wraps around: lanes that nobody reads may hold anything.
ORVANDEL_INLINE Ints WrappingSum(const Ints& a, const Ints& b) { return (Ints)((Words)a + (Words)b); }
ORVANDEL_INLINE Ints WrappingDifference(const Ints& a, const Ints& b) { return (Ints)((Words)a - (Words)b); }

// Toward minus and plus infinity; |v| < 2^31 in lanes that count. Comparing gives -1 where it holds.
ORVANDEL_INLINE Ints Floor(const Floats& v) {
#if defined(__AVX512F__)
  return (Ints)_mm512_cvt_roundps_epi32(v, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
#else
  const Ints truncated = Truncate(v);
  return WrappingSum(truncated, ToFloats(truncated) > v);
#endif
}
ORVANDEL_INLINE Ints Ceiling(const Floats& v) {
#if defined(__AVX512F__)
  return (Ints)_mm512_cvt_roundps_epi32(v, _MM_FROUND_TO_POS_INF | _MM_FROUND_NO_EXC);
#else
  const Ints truncated = Truncate(v);
  return WrappingDifference(truncated, ToFloats(truncated) < v);
#endif
}
ORVANDEL_INLINE std::int32_t Floor(float v) {
#if defined(__SSE4_1__)
  return static_cast<std::int32_t>(__builtin_floorf(v));
#else
  const auto truncated = static_cast<std::int32_t>(v);
  return truncated - (static_cast<float>(truncated) > v ? 1 : 0);
#endif
}

inline Floats SquareRoot(const Floats& v) {
#if defined(__AVX512F__)
  return _mm512_sqrt_ps(v);
#elif defined(__AVX2__)
  return _mm256_sqrt_ps(v);
#elif defined(__x86_64__)
  return _mm_sqrt_ps(v);
#else
  Floats roots;
  for (int i = 0; i < kLanes; ++i) roots[i] = __builtin_sqrtf(v[i]);
  return roots;
#endif
}

// Whether any lane of a comparison's result holds.
ORVANDEL_INLINE bool Any(const Ints& mask) {
#if defined(__AVX512F__)
  return _mm512_test_epi32_mask((__m512i)mask, (__m512i)mask) != 0;
#elif defined(__AVX2__)
  return _mm256_testz_si256((__m256i)mask, (__m256i)mask) == 0;
#else
  std::int32_t any = 0;
  for (int i = 0; i < kLanes; ++i) any |= mask[i];
  return any != 0;
#endif
}

inline std::int32_t SmallestLane(const Ints& v) {
  std::int32_t smallest = v[0];
  for (int i = 1; i < kLanes; ++i) smallest = Smaller<std::int32_t>(smallest, v[i]);
  return smallest;
}
inline std::int32_t LargestLane(const Ints& v) {
  std::int32_t largest = v[0];
  for (int i = 1; i < kLanes; ++i) largest = Larger<std::int32_t>(largest, v[i]);
  return largest;
}

// Four lanes, in any instruction set.
typedef float FourFloats __attribute__((vector_size(16)));
typedef std::int32_t FourInts __attribute__((vector_size(16)));
typedef std::uint32_t FourWords __attribute__((vector_size(16)));

// Bit k of the result: lane k of a comparison's result holds.
ORVANDEL_INLINE unsigned LanesOfFour(const FourInts& mask) {
#if defined(__x86_64__)
  return static_cast<unsigned>(_mm_movemask_ps((__m128)mask));
#else
  return (mask[0] & 1) | (mask[1] & 2) | (mask[2] & 4) | (mask[3] & 8);
#endif
}

ORVANDEL_INLINE std::int32_t SmallestOfFour(FourInts v) {
  FourInts other = __builtin_shufflevector(v, v, 2, 3, 0, 1);
  v = other < v ? other : v;
  other = __builtin_shufflevector(v, v, 1, 0, 3, 2);
  return (other < v ? other : v)[0];
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS
