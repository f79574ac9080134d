// Strokes one closed outline: a band of the wave's width along its inner side.
#pragma once

#include <cstdint>

#include "effect/host/effect_context.h"
#include "effect/render/canvas.h"
#include "effect/render/profile_table.h"
#include "effect/sim/wave.h"

namespace orvandel {

// `points` is a copy of the wave's placed outline and is changed in place. Outlines without area draw nothing. Returns
// 0 or the host's code that stopped the scan; the rows scanned until then stay drawn.
std::int32_t StrokeOutline(EffectContext& context, Canvas& canvas, const Wave& wave, Outline& points,
                           const ProfileTable& table);

}  // namespace orvandel
