// One wave at the moment of drawing: how opaque, how wide, and whether its life is over.
#pragma once

#include <cstdint>

#include "effect/host/effect_context.h"
#include "effect/render/canvas.h"
#include "effect/sim/wave.h"

namespace orvandel {

// 0..1 for a live wave, exactly -1 once its age has reached its lifespan.
float CurrentOpacity(const Wave& wave);
// The band's width now, in the pixels of `placed`.
float StrokeWidth(const Wave& wave);

// Whether drawing takes the wave out of its list: its life is over, or it has no outline and keeps its birth settings.
bool IsOver(const Wave& wave);

// Draws the wave at `position` onto `canvas`, or removes it when it is over; moves `position` on in any case. Returns 0
// or the host's code that stopped the drawing.
std::int32_t DrawWave(WaveList& list, EffectContext& context, Canvas& canvas, WaveList::Position& position);

}  // namespace orvandel
