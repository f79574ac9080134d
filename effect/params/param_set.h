// The effect's 33 parameters and 10 group markers, as they are registered with the host.
#pragma once

#include <cstdint>

#include "effect/host/effect_context.h"

namespace orvandel {

// Registers everything in its fixed order and fills the instance's ParamIndexTable. Returns 0.
std::int32_t RegisterParams(EffectContext& context);

}  // namespace orvandel
