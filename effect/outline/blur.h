// The blur of a value image.
#pragma once

#include <cstdint>

#include "effect/base/heap_containers.h"
#include "effect/outline/value_image.h"

namespace orvandel {

// Blurs the value image in place, rows before columns:
//   blurred[j] = (sum over m of kernel[m] * value[j - reach + m]) >> 10, reach = kernel.size() / 2,
// where values outside the image count as 0. Returns 0, or the host's code that stopped it; makes an abort check after
// every row and every column, and none when there is nothing to blur. `portable`: without instructions that some
// processors lack, for tests; the values are the same.
std::int32_t BlurValueImage(const ContourJob& job, bool portable = false);

// Integer weights of a Gaussian exp(-4 d^2 / radius^2), 1024 times their share, each rounded down.
HeapVector<std::uint16_t> MakeBlurKernel(double radius, std::int64_t tapCount);

// The kernel that a radius asks for, without the taps at its ends that are 0. Always an odd count.
HeapVector<std::uint16_t> BlurKernelFor(double radius);

}  // namespace orvandel
