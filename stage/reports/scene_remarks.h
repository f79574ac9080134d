// What a person should know about a valid scene: what is costly or unexpected, and the numbers behind it. Worked out
// from the scene alone, without rendering.
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
// How many waves there are, and whether each frame can continue from the one before; renders refuse more than
// `maxWaves`.
WaveCount RemarkOnWaves(const Scene& scene, const ParamCatalog& catalog, std::int64_t maxWaves, Remarks& remarks);
// Media that the scene names and nothing shows.
void RemarkOnMedia(const Scene& scene, const ParamCatalog& catalog, Remarks& remarks);

}  // namespace orvandel::stage
