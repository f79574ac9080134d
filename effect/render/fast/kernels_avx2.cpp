#define ORVANDEL_KERNELS avx2
#include "effect/render/fast/bands/draw.h"
#include "effect/render/fast/kernels.h"
#include "effect/render/fast/pieces/set_up.h"

namespace orvandel::fast {

const Kernels kAvx2Kernels = {avx2::SetUp, avx2::Begin, avx2::DrawBand};

}  // namespace orvandel::fast
