// A scene whose last frame leads back to its first.
//
// The effect's clock runs from its own start, so the host begins it as many whole times through the scene before frame
// 0 as the longest life needs: then every wave that a frame shows was born in a time like any other. Values begin anew
// with every time through (Timebase::SceneTime), and births are made to fall alike in each.
#pragma once

#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// `duration` is the scene's as written. Throws InputError, without a place, that says what does not repeat and which
// nearest value would.
void PlayInLoop(Scene& scene, Rational duration, const ParamCatalog& catalog);

}  // namespace orvandel::stage
