#define ORVANDEL_KERNELS portable
#include "effect/render/fast/draw.h"
#include "effect/render/fast/kernels.h"
#include "effect/render/fast/set_up.h"

namespace orvandel::fast {

const Kernels kPortableKernels = {portable::SetUp, portable::Begin, portable::DrawBand};

}  // namespace orvandel::fast
