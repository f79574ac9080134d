// How many waves a render will hold, worked out from the scene before anything is rendered.
//
// An upper bound: waves live for their lifespan, while the effect also drops waves without an outline (an empty mask,
// a picture without a contour). Waves whose time is over stay until the next frame is drawn, so frames that are left
// out make more of them.
#pragma once

#include <cstdint>
#include <vector>

#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

struct WaveCount {
  std::int64_t alive = 0;  // most in any of the frames, over all emitters
  std::int32_t aliveFrame = 0;
  std::int64_t held = 0;  // most in memory on the way to any of the frames
  std::int32_t heldFrame = 0;
};

// `frames` in the order of rendering, at least one.
WaveCount CountWaves(const Scene& scene, const ParamCatalog& catalog, const std::vector<std::int32_t>& frames);

}  // namespace orvandel::stage
