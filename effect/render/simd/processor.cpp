#include "effect/render/simd/processor.h"

namespace orvandel {

#if defined(__x86_64__)

bool RunsAvx2() {
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") && __builtin_cpu_supports("bmi2");
}

bool RunsAvx512() {
  return RunsAvx2() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq") &&
         __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2") &&
         __builtin_cpu_supports("avx512vpopcntdq") && __builtin_cpu_supports("avx512vnni") &&
         __builtin_cpu_supports("vpclmulqdq");
}

#else

bool RunsAvx2() { return false; }
bool RunsAvx512() { return false; }

#endif

}  // namespace orvandel
