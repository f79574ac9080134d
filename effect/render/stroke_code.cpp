#include "effect/render/stroke_code.h"

#include <atomic>
#include <bit>
#include <initializer_list>

#include "effect/base/processor.h"
#include "effect/render/fast/kernels.h"

namespace orvandel {
namespace {

bool Runs(StrokeCode code) {
  switch (code) {
    case StrokeCode::kAvx512:
      return WidestVectorSet() >= VectorSet::kAvx512;
    case StrokeCode::kAvx2:
      return WidestVectorSet() >= VectorSet::kAvx2;
    case StrokeCode::kPortable:
      // The kernels take a pixel's first byte for the lowest one of its word.
      return std::endian::native == std::endian::little;
    default:
      return code == StrokeCode::kPlain;
  }
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
  if constexpr (kForX86) {
    if (code == StrokeCode::kAvx512) return &fast::kAvx512Kernels;
    if (code == StrokeCode::kAvx2) return &fast::kAvx2Kernels;
  }
  return code == StrokeCode::kPlain ? nullptr : &fast::kPortableKernels;
}

}  // namespace orvandel
