// What a scene's frames cost, from a few that are rendered for it.
#pragma once

#include <string>

#include "cli/farm/chunks.h"
#include "cli/farm/farm_job.h"
#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::cli {

struct MeasuredCosts {
  FrameCosts costs;
  double wayPerFrame = 0;  // seconds for each frame before a chunk's first
  std::string note;        // what was measured, for people
};

// `render`: the words of a render but for output and frames, which go into a temporary folder. Between what was
// measured, cost grows with the waves alive. WorkError when the frames cannot be rendered.
MeasuredCosts MeasureFrames(const Words& render, const std::vector<std::int32_t>& frames, const stage::Scene& scene,
                            const stage::ParamCatalog& catalog);

}  // namespace orvandel::cli
