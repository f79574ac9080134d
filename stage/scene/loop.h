// A scene whose last frame leads back to its first.
//
// The effect's clock runs from its own start, so the host starts it some whole passes through the scene before frame 0,
// as many as the longest life needs: then every wave that a frame shows was born in a full pass. Values start again
// with every pass (Timebase::SceneTime), and births are made to fall at the same times in each.
#pragma once

#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// `duration` is the scene's as written. Throws InputError, without a place, that says what does not repeat and which
// nearest value would.
void PlayInLoop(Scene& scene, Rational duration, const ParamCatalog& catalog);

}  // namespace orvandel::stage
