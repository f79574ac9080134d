// The plain drawing code: one stroke at a time, row by row. It decides what is right.
#pragma once

#include <cstdint>

#include "effect/host/effect_context.h"
#include "effect/render/stroke/stroke_look.h"

namespace orvandel {

// `points` run clockwise on the screen. Returns 0 or the host's code that stopped the scan; the rows scanned until then
// stay drawn.
std::int32_t DrawStrokePlainly(EffectContext& context, const ImageBuffer& output, const PlacedOutline& points,
                               const StrokeLook& look);

}  // namespace orvandel
