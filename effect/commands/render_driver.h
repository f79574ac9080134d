// The render command: one frame of the effect's output.
#pragma once

#include <cstdint>

#include "effect/host/effect_context.h"
#include "effect/sim/trace_memory.h"
#include "effect/sim/wave.h"

namespace orvandel {

// Returns 0, or the host's code that stopped the work. Exceptions pass to the entry point; the sequence is written back
// in any case.
std::int32_t RenderFrame(EffectContext& context);

// Outlines, clears, draws, oldest wave first; removes waves whose life is over, whether the output has pixels or not.
std::int32_t DrawWaveList(WaveList& list, EffectContext& context, TraceMemory& traces, const ImageBuffer& output);

}  // namespace orvandel
