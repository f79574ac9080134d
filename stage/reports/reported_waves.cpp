#include "stage/reports/reported_waves.h"

namespace orvandel::stage {

WaveReports::WaveReports(EffectModule& module, const Scene& scene, const RenderOptions& options)
    : waves_(scene.emitters.size()) {
  const double aspect = static_cast<double>(scene.pixelAspect.num) / static_cast<double>(scene.pixelAspect.den);
  for (std::size_t i = 0; i < scene.emitters.size(); ++i) {
    RenderOptions watched = options;
    watched.onWave = [this, i, aspect](const OrvWave& wave) {
      ReportedWave& copy = waves_[i].emplace_back();
      copy.wave = wave;
      copy.wave.points = nullptr;
      copy.pixelAspect = aspect;
      copy.outline.assign(wave.points, wave.points + wave.pointCount);
    };
    renderers_.push_back(std::make_unique<FrameRenderer>(module, scene, i, std::move(watched)));
  }
}

WaveReports::~WaveReports() = default;

const std::vector<std::vector<ReportedWave>>& WaveReports::Of(std::int32_t frame) {
  for (std::size_t i = 0; i < renderers_.size(); ++i) Of(i, frame);
  return waves_;
}

const std::vector<ReportedWave>& WaveReports::Of(std::size_t effect, std::int32_t frame) {
  waves_[effect].clear();
  renderers_[effect]->Render(frame);
  return waves_[effect];
}

}  // namespace orvandel::stage
