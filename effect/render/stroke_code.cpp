#include "effect/render/stroke_code.h"

#include <atomic>
#include <bit>
#include <initializer_list>

#include "effect/render/fast/kernels.h"

namespace orvandel {
namespace {

bool Runs(StrokeCode code) {
#if defined(__x86_64__)
  if (code == StrokeCode::kAvx2)
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") && __builtin_cpu_supports("bmi2");
  if (code == StrokeCode::kAvx512) {
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq") &&
           __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2") &&
           __builtin_cpu_supports("avx512vpopcntdq") && __builtin_cpu_supports("avx512vnni") &&
           __builtin_cpu_supports("vpclmulqdq") && __builtin_cpu_supports("fma") && __builtin_cpu_supports("bmi2");
  }
#endif
  // The kernels take a pixel's first byte for the lowest one of its word.
  const bool lowestFirst = std::endian::native == std::endian::little;
  return code == StrokeCode::kPlain || (code == StrokeCode::kPortable && lowestFirst);
}

StrokeCode BestStrokeCode() {
  for (const StrokeCode code : {StrokeCode::kAvx512, StrokeCode::kAvx2, StrokeCode::kPortable}) {
    if (Runs(code)) return code;
  }
  return StrokeCode::kPlain;
}

std::atomic<StrokeCode>& ChosenStrokeCode() {
  static std::atomic<StrokeCode> chosen{BestStrokeCode()};
  return chosen;
}

}  // namespace

StrokeCode CurrentStrokeCode() { return ChosenStrokeCode().load(std::memory_order_relaxed); }

bool ChooseStrokeCode(StrokeCode code) {
  if (!Runs(code)) return false;
  ChosenStrokeCode().store(code, std::memory_order_relaxed);
  return true;
}

const fast::Kernels* KernelsOf(StrokeCode code) {
  switch (code) {
    case StrokeCode::kPlain:
      return nullptr;
#if defined(__x86_64__)
    case StrokeCode::kAvx2:
      return &fast::kAvx2Kernels;
    case StrokeCode::kAvx512:
      return &fast::kAvx512Kernels;
#endif
    default:
      return &fast::kPortableKernels;
  }
}

}  // namespace orvandel
