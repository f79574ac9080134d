// Mask waves: the outline of one of the layer's masks, borrowed from the host and sampled at one-pixel steps.
#pragma once

#include "effect/host/effect_context.h"
#include "effect/sim/wave.h"

namespace orvandel {

// Rebuilds wave.shape from the mask at wave.sampleTime, measured from the middle of the layer. No such mask: an empty
// valid shape. AbortException with the host's code, or with 513 (message written) for an open path; the shape is then
// empty and not valid. The path stays lent to the slot until its time changes or the context ends.
void BuildMaskShape(Wave& wave, EffectContext& context);

// Appends points `step` layer pixels apart along every segment of the path that `maskSlot` holds. Each segment is
// sampled from its own start; its end belongs to the next segment.
void SamplePathPoints(ParamSlot& maskSlot, double step, PictureOutline& target);

}  // namespace orvandel
