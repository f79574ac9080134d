// Keeps a wave's outlines current: which builder runs, when shape and placed outline may be reused, and where it is
// placed.
#pragma once

#include "effect/host/effect_context.h"
#include "effect/sim/wave.h"

namespace orvandel {

// Makes wave.placed current. Passes on AbortException and AllocFailed of the shape builders.
void UpdateWaveOutline(Wave& wave, EffectContext& context);

}  // namespace orvandel
