#include "cli/waves/wave_limit.h"

#include <fmt/format.h>

#include "cli/interrupt.h"
#include "stage/base/errors.h"

namespace orvandel::cli {

void RefuseTooManyWaves(const stage::Scene& scene, const stage::WaveCount& waves, std::int64_t maxWaves) {
  if (waves.held <= maxWaves) return;
  throw stage::InputError(fmt::format(
      "{}: frame {} needs up to {} waves at once, more than the {} that --max-waves allows; lower Frequency "
      "or Lifespan, or raise --max-waves",
      scene.file.string(), waves.heldFrame, waves.held, maxWaves));
}

stage::RenderOptions LimitedTo(std::int64_t maxWaves) {
  stage::RenderOptions options;
  options.shouldStop = StopRequested;
  options.maxWaves = maxWaves;
  return options;
}

}  // namespace orvandel::cli
