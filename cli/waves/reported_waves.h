// The waves of a frame as the effect itself reports them while it renders the frame.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "orvandel/wave_report.h"
#include "stage/module/effect_module.h"
#include "stage/render/frame_renderer.h"
#include "stage/scene/scene.h"

namespace orvandel::cli {

// OrvWave (orvandel/wave_report.h) with points of its own.
struct ReportedWave {
  OrvWave wave{};  // without points
  double pixelAspect = 1;
  std::vector<OrvWavePoint> outline;  // relative to the wave's origin, in square pixels

  // In full-size layer pixels, from the layer's top left corner.
  stage::PointValue OnLayer(const OrvWavePoint& point) const {
    return {double{wave.originX} + double{point.x} / pixelAspect, double{wave.originY} + double{point.y}};
  }
  stage::ColorValue Color() const {
    return {double(wave.color.red), double(wave.color.green), double(wave.color.blue)};
  }
};

// Renders frames of every effect of a scene, in any order, for their waves.
class WaveReports {
 public:
  // Both references must outlive it.
  WaveReports(stage::EffectModule& module, const stage::Scene& scene, std::int64_t maxWaves);
  ~WaveReports();

  // By effect; the oldest wave first. Throws what FrameRenderer::Render throws.
  const std::vector<std::vector<ReportedWave>>& Of(std::int32_t frame);

 private:
  std::vector<std::vector<ReportedWave>> waves_;
  std::vector<std::unique_ptr<stage::FrameRenderer>> renderers_;
};

}  // namespace orvandel::cli
