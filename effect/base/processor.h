// Which vectors this processor has, of those that code is compiled for: the one rule by which the effect chooses its
// code, and by which programs report what it chose.
#pragma once

namespace orvandel {

#if defined(__x86_64__)
inline constexpr bool kForX86 = true;
#else
inline constexpr bool kForX86 = false;
#endif

// Each has all that the ones before it have.
enum class VectorSet {
  k128Bits,  // any processor
  kAvx2,     // with FMA and BMI2
  kAvx512    // with the extensions of 2019: VBMI, VBMI2, VNNI, VPOPCNTDQ, VPCLMULQDQ
};

inline VectorSet WidestVectorSet() {
#if defined(__x86_64__)
  if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma") || !__builtin_cpu_supports("bmi2")) {
    return VectorSet::k128Bits;
  }
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") &&
      __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vbmi") &&
      __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("avx512vpopcntdq") &&
      __builtin_cpu_supports("avx512vnni") && __builtin_cpu_supports("vpclmulqdq")) {
    return VectorSet::kAvx512;
  }
  return VectorSet::kAvx2;
#else
  return VectorSet::k128Bits;
#endif
}

}  // namespace orvandel
