// One wave of a frame as a JSON object.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "stage/reports/reported_waves.h"
#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

struct WavePlace {
  std::int32_t frame = 0;
  std::size_t effect = 0;  // from 0
  std::size_t number = 0;  // in the frame, the oldest first
};

// Everything that the effect reports, places in full-size layer pixels; the points of the outline only when asked for,
// since they are most of the text.
std::string WaveJson(const Scene& scene, const ParamCatalog& catalog, const WavePlace& place,
                     const ReportedWave& reported, bool withOutline);

}  // namespace orvandel::stage
