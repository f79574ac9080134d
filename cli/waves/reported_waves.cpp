#include "cli/waves/reported_waves.h"

#include "cli/interrupt.h"

namespace orvandel::cli {

WaveReports::WaveReports(stage::EffectModule& module, const stage::Scene& scene, std::int64_t maxWaves)
    : waves_(scene.emitters.size()) {
  const double aspect = static_cast<double>(scene.pixelAspect.num) / static_cast<double>(scene.pixelAspect.den);
  for (std::size_t i = 0; i < scene.emitters.size(); ++i) {
    stage::RenderOptions options;
    options.shouldStop = StopRequested;
    options.maxWaves = maxWaves;
    options.onWave = [this, i, aspect](const OrvWave& wave) {
      ReportedWave& copy = waves_[i].emplace_back();
      copy.wave = wave;
      copy.wave.points = nullptr;
      copy.pixelAspect = aspect;
      copy.outline.assign(wave.points, wave.points + wave.pointCount);
    };
    renderers_.push_back(std::make_unique<stage::FrameRenderer>(module, scene, i, std::move(options)));
  }
}

WaveReports::~WaveReports() = default;

const std::vector<std::vector<ReportedWave>>& WaveReports::Of(std::int32_t frame) {
  for (std::size_t i = 0; i < renderers_.size(); ++i) {
    waves_[i].clear();
    renderers_[i]->Render(frame);
  }
  return waves_;
}

}  // namespace orvandel::cli
