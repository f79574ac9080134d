// The waves alive at a time: where each is, how large, how it is drawn. Worked out from the scene's values by the
// effect's rules of birth and motion, in double precision: a picture's own numbers differ in their last digits, and the
// effect also drops waves without an outline.
#pragma once

#include <cstdint>
#include <vector>

#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::cli {

struct WaveState {
  double ageSeconds = 0;
  stage::PointValue centre;  // full-size layer pixels
  double radius = 0;         // from the centre to the outline's farthest point, full-size layer pixels
  double turnDegrees = 0;    // orientation and spin
  double strokeWidth = 0;    // inward from the outline, full-size layer pixels
  double opacity = 0;        // 0..1, fades included
  stage::ColorValue color;
};

struct WavesAtTime {
  std::int64_t born = 0;         // since time 0
  std::vector<WaveState> alive;  // the oldest first
};
WavesAtTime WavesAt(const stage::Scene& scene, const stage::Emitter& emitter, const stage::ParamCatalog& catalog,
                    std::int32_t hostTime);

}  // namespace orvandel::cli
