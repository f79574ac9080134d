#include "effect/commands/render_driver.h"

#include "effect/commands/wave_report.h"
#include "effect/outline/placement.h"
#include "effect/render/canvas.h"
#include "effect/render/draw_wave.h"
#include "effect/sim/stepping.h"

namespace orvandel {
namespace {

// A wave that has not grown is neither outlined nor drawn, and stays in the list.
bool HasGrown(const Wave& wave) { return wave.size > 0; }

// A wave whose life is over leaves the list undrawn. Its outline is skipped where that has no visible
// effect: always for a polygon; for a contour or a mask, where the host promises that its answers stay the same.
bool IsOutlined(const Wave& wave, EffectContext& context) {
  const bool isOver = CurrentOpacity(wave) < 0.0F;
  const bool asksHost = wave.waveType == kContourWave || wave.waveType == kMaskWave;
  return !isOver || (asksHost && context.ChangeStamp() == 0);
}

std::int32_t OutlineWaves(WaveList& list, EffectContext& context, TraceMemory& traces) {
  for (Wave& wave : list.waves) {
    if (!HasGrown(wave)) continue;
    if (IsOutlined(wave, context)) {
      if (const std::int32_t code = UpdateWaveOutline(wave, context, traces); code != 0) return code;
    }
    if (const std::int32_t code = context.CheckAbort(); code != 0) return code;
  }
  return 0;
}

std::int32_t DrawWaves(WaveList& list, EffectContext& context, Canvas& canvas) {
  for (auto position = list.waves.begin(); position != list.waves.end();) {
    if (!HasGrown(*position)) {
      ++position;
      continue;
    }
    if (const std::int32_t code = DrawWave(list, context, canvas, position); code != 0) return code;
  }
  return 0;
}

}  // namespace

std::int32_t RenderFrame(EffectContext& context) {
  EnsureSequence(context);
  return WithStepper(context, true, [&](Stepper& stepper) {
    WaveList* list = AdvanceToFrame(stepper);
    if (const std::int32_t code = context.CheckAbort(); code != 0) return code;
    return DrawWaveList(*list, context, TracesOf(*stepper.state), context.outputView);
  });
}

std::int32_t DrawWaveList(WaveList& list, EffectContext& context, TraceMemory& traces, const ImageBuffer& output) {
  if (const std::int32_t code = OutlineWaves(list, context, traces); code != 0) return code;
  if (const std::int32_t code = ReportWaves(list, context); code != 0) return code;
  if (!output.HasPixels()) {
    list.waves.remove_if([](const Wave& wave) { return HasGrown(wave) && IsOver(wave); });
    return 0;
  }
  Canvas canvas(output, Canvas::Ground::kCleared);
  return DrawWaves(list, context, canvas);
}

}  // namespace orvandel
