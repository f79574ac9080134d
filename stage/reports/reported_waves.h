// The waves of a frame as the effect itself reports them while it renders the frame.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "orvandel/wave_report.h"
#include "stage/module/effect_module.h"
#include "stage/render/frame_renderer.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// OrvWave (orvandel/wave_report.h) with points of its own.
struct ReportedWave {
  OrvWave wave{};  // without points
  double pixelAspect = 1;
  std::vector<OrvWavePoint> outline;  // relative to the wave's origin, in square pixels

  // In full-size layer pixels, from the layer's top left corner.
  PointValue OnLayer(const OrvWavePoint& point) const {
    return {double{wave.originX} + double{point.x} / pixelAspect, double{wave.originY} + double{point.y}};
  }
  ColorValue Color() const { return {double(wave.color.red), double(wave.color.green), double(wave.color.blue)}; }
};

// Renders frames of every effect of a scene, in any order, for their waves.
class WaveReports {
 public:
  // `module` and `scene` must outlive it. `options` say when to stop; what they say of waves is replaced.
  WaveReports(EffectModule& module, const Scene& scene, const RenderOptions& options = {});
  ~WaveReports();

  // By effect; the oldest wave first. Throws what FrameRenderer::Render throws.
  const std::vector<std::vector<ReportedWave>>& Of(std::int32_t frame);
  // Of one effect.
  const std::vector<ReportedWave>& Of(std::size_t effect, std::int32_t frame);

 private:
  std::vector<std::vector<ReportedWave>> waves_;
  std::vector<std::unique_ptr<FrameRenderer>> renderers_;
};

}  // namespace orvandel::stage
