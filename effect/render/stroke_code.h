// Which code draws strokes.
#pragma once

#include <cstdint>

namespace orvandel {

enum class StrokeCode : std::int32_t {
  kPlain,     // `reference`, the readable twin that decides what is right
  kPortable,  // 128-bit vectors in any instruction set
  kAvx2,      // this and the next: on processors that have the VectorSet of that name
  kAvx512
};

// The code in use: the best one that the processor runs, unless another one has been chosen.
StrokeCode CurrentStrokeCode();
// For tests and benchmarks. False, and no change, when the processor does not run it.
bool ChooseStrokeCode(StrokeCode code);

namespace fast {
struct Kernels;
}
// Null for the plain code.
const fast::Kernels* KernelsOf(StrokeCode code);

}  // namespace orvandel
