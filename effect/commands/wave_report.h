// Reports the waves of the frame being rendered to a host that offers the wave report service.
#pragma once

#include <cstdint>

#include "effect/host/effect_context.h"
#include "effect/sim/wave.h"

namespace orvandel {

// Reports every wave that is drawn, and those that may yet grow, oldest first, once their outlines are placed.
// Returns 0, or the host's code that stops the render; it is then also the context's `aborted`.
std::int32_t ReportWaves(const WaveList& list, EffectContext& context);

}  // namespace orvandel
