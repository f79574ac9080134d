// Image-contour waves: one contour of a value channel of the source picture.
#pragma once

#include <cstdint>

#include "effect/host/effect_context.h"
#include "effect/outline/value_image.h"
#include "effect/sim/trace_memory.h"
#include "effect/sim/wave.h"

namespace orvandel {

// Rebuilds wave.shape unless it is valid and the picture at wave.sampleTime is the one it was traced from; then
// wave.placedValid is clear. Without any contour the shape is valid and empty, and the next update looks again. Returns
// 0, or the host's code that stopped the work; AbortException with the host's code when the picture cannot be checked
// out. The shape is then empty and not valid. The output's pixels serve as scratch.
std::int32_t BuildContourShape(Wave& wave, EffectContext& context, TraceMemory& traces);

struct TracedContour {
  std::int64_t found = 0;  // contours in the picture
  PictureOutline chain;    // the wanted one, or the last one when there are fewer; not thinned
};

// Extracts, blurs and traces into `traced`, which must be empty. Contours count from 1 in the order in which a raster
// scan meets them. Returns 0, or the host's code that stopped the work: besides those of the blur there is an abort
// check after the lattice and one after every contour.
std::int32_t TraceContours(const ContourJob& job, std::int32_t wanted, TracedContour& traced);

}  // namespace orvandel
