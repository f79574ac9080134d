#include "effect/commands/wave_report.h"

#include <cstring>

#include "effect/render/draw_wave.h"

namespace orvandel {
namespace {

// Leaves out what the drawing pass removes: waves at the end of their life, and those that will never have an outline.
bool IsReported(const Wave& wave) {
  const bool hasGrown = wave.size > 0;
  return hasGrown ? !IsOver(wave) : CurrentOpacity(wave) >= 0.0F;
}

OrvWave Reported(const Wave& wave, const OrvInRecord& in) {
  OrvWave report{};
  report.age = wave.age;
  report.lifespan = wave.lifespan;
  report.originX = static_cast<float>(in.width) * wave.origin.x;
  report.originY = static_cast<float>(in.height) * wave.origin.y;
  const float aspect = static_cast<float>(in.pixelAspect.num) / static_cast<float>(in.pixelAspect.den);
  report.centreX = report.originX + wave.offset.x / aspect;
  report.centreY = report.originY + wave.offset.y;
  report.size = wave.size;
  report.angle = wave.orientation + wave.rotation;
  report.width = StrokeWidth(wave);
  report.opacity = CurrentOpacity(wave);
  static_assert(sizeof report.color == sizeof wave.color);
  std::memcpy(&report.color, &wave.color, sizeof report.color);  // the word holds the bytes in memory order
  report.waveType = static_cast<std::int32_t>(wave.waveType);
  report.profile = static_cast<std::int32_t>(wave.profile);
  static_assert(sizeof(wave.placed[0]) == sizeof(OrvWavePoint));  // x, y
  const bool hasOutline = wave.size > 0 && !wave.placed.empty();  // one that shrank to nothing keeps an old outline
  report.pointCount = hasOutline ? static_cast<std::int32_t>(wave.placed.size()) : 0;
  report.points = hasOutline ? reinterpret_cast<const OrvWavePoint*>(wave.placed.data()) : nullptr;
  return report;
}

}  // namespace

std::int32_t ReportWaves(const WaveList& list, EffectContext& context) {
  const OrvWaveReportService* service = context.services.WaveReport();
  if (service == nullptr) return 0;
  for (const Wave& wave : list.waves) {
    if (!IsReported(wave)) continue;
    const OrvWave report = Reported(wave, *context.inRecord);
    context.aborted = service->reportWave(context.inRecord->effectRef, &report);
    if (context.aborted != 0) return context.aborted;
  }
  return 0;
}

}  // namespace orvandel
