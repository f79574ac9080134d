#define ORVANDEL_KERNELS portable
#include "effect/render/fast/bands/draw.h"
#include "effect/render/fast/kernels.h"
#include "effect/render/fast/pieces/set_up.h"

namespace orvandel::fast {

const Kernels kPortableKernels = {portable::SetUp, portable::Begin, portable::DrawBand};

}  // namespace orvandel::fast
