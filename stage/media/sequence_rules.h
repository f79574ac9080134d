// What the effect's rules make of a scene's values: whether its frames depend on which frames were rendered before on
// the same sequence.
//
// A frame is a pure function of the scene: what a fresh sequence gives when the frame is the only one that it renders.
// Going on with a sequence gives the same and is much faster, except where a wave's removal, or the picture it was
// traced from, is decided at the frames that are drawn.
#pragma once

#include <functional>

#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// `sourceMoves` says whether the picture of the layer at a place (0: the input) changes over time.
bool NeedsFreshSequences(const Scene& scene, const Emitter& emitter, const ParamCatalog& catalog,
                         const std::function<bool(std::int32_t)>& sourceMoves);

// Whether a sequence has to end once the scene or its live pictures change: drawn waves keep what they were traced
// from, and those that found nothing to trace, or no mask, are gone.
bool NeedsFreshSequenceAfterChange(const Scene& scene, const Emitter& emitter, const ParamCatalog& catalog);

// Whether the emitter may draw the contours of the scene's input.
bool TracesInput(const Scene& scene, const Emitter& emitter, const ParamCatalog& catalog);

}  // namespace orvandel::stage
