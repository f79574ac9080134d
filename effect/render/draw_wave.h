// One wave at the moment of drawing: how opaque, how wide, which profile, and whether its life is over.
#pragma once

#include <cstdint>

#include "effect/host/effect_context.h"
#include "effect/sim/wave.h"

namespace orvandel {

// Draws the wave at `position` into `output`, or removes it when its life is over or it has no outline and keeps its
// birth settings; moves `position` on in any case. Returns 0 or the host's code that stopped the drawing.
std::int32_t DrawWave(WaveList& list, EffectContext& context, const ImageBuffer& output, WaveList::Position& position);

}  // namespace orvandel
