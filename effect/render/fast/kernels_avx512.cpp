#define ORVANDEL_KERNELS avx512
#include "effect/render/fast/bands/draw.h"
#include "effect/render/fast/kernels.h"
#include "effect/render/fast/pieces/set_up.h"

namespace orvandel::fast {

const Kernels kAvx512Kernels = {avx512::SetUp, avx512::Begin, avx512::DrawBand};

}  // namespace orvandel::fast
