// Strokes drawn piece by piece with vector code: the same bytes as stroke_edges and stroke_scan, many times faster.
#pragma once

#include <cstdint>

#include "effect/host/effect_context.h"
#include "effect/render/stroke_edges.h"

namespace orvandel {

enum class StrokeCode : std::int32_t {
  kPlain,     // stroke_scan, the readable twin that decides what is right
  kPortable,  // 128-bit vectors in any instruction set
  kAvx2,
  kAvx512  // with the extensions of 2019: VBMI, VNNI, BITALG
};

// The code in use: the best one that the processor runs, unless another one has been chosen.
StrokeCode CurrentStrokeCode();
// For tests and benchmarks. False, and no change, when the processor does not run it.
bool ChooseStrokeCode(StrokeCode code);

// All that is needed beside the outline.
struct StrokeLook {
  float width;  // layer pixels
  StrokeTransform transform;
  std::int32_t quality;
  OrvPixel color;
  const ProfileTable* table;
  bool reflection;
};

// Draws the stroke along `points` (thinned, clockwise on the screen, in layer pixels). Returns false, with nothing done
// and nobody asked, when the stroke is for the plain code; otherwise `result` is 0 or the host's code that stopped it.
//
// The host hears of the rows in the plain scan's order and number, but before they are drawn: when it stops at one, the
// rows up to it are drawn all the same.
bool DrawStrokeFast(EffectContext& context, const ImageBuffer& output, const Outline& points, const StrokeLook& look,
                    std::int32_t& result);

}  // namespace orvandel
