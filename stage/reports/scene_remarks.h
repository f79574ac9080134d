// What a person should know of a scene that is good: what is costly or not as one would expect, and the numbers behind
// it. Worked out from the scene alone, without rendering.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "stage/reports/wave_count.h"
#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

struct Remarks {
  std::vector<std::string> warnings, notes;
};

// Length, frame rate, masks, and what the reader chose.
void RemarkOnForm(const Scene& scene, Remarks& remarks);
// How many waves there are and whether frames can go on from one another; more than `maxWaves` are refused by renders.
WaveCount RemarkOnWaves(const Scene& scene, const ParamCatalog& catalog, std::int64_t maxWaves, Remarks& remarks);
// What is named and not seen.
void RemarkOnMedia(const Scene& scene, const ParamCatalog& catalog, Remarks& remarks);

}  // namespace orvandel::stage
