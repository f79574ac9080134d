// The bound on waves that a person sets, and stopping while waves are looked at.
#pragma once

#include <cstdint>

#include "stage/render/frame_renderer.h"
#include "stage/reports/wave_count.h"
#include "stage/scene/scene.h"

namespace orvandel::cli {

// InputError when more would be held than `maxWaves`.
void RefuseTooManyWaves(const stage::Scene& scene, const stage::WaveCount& waves, std::int64_t maxWaves);

// For WaveReports; Ctrl-C ends them.
stage::RenderOptions LimitedTo(std::int64_t maxWaves);

}  // namespace orvandel::cli
