// Decides for one wave whether it still lives and what its stroke looks like now, then strokes its placed outline.

#include "effect/render/draw_wave.h"

#include <algorithm>

#include "effect/params/param_ids.h"
#include "effect/params/param_slot.h"
#include "effect/render/profile_table.h"
#include "effect/render/stroke_outline.h"

namespace orvandel {
namespace {

// Age over fade time; the fade is cut to the lifespan.
float FadeInFactor(const Wave& wave) {
  if (wave.fadeIn == 0.0F) return 1.0F;
  return wave.age / std::min(wave.fadeIn, wave.lifespan);
}

float FadeOutFactor(const Wave& wave) {
  if (wave.fadeOut == 0.0F || wave.lifespan == 0.0F) return 1.0F;
  return (wave.lifespan - wave.age) / std::min(wave.fadeOut, wave.lifespan);
}

}  // namespace

float CurrentOpacity(const Wave& wave) {
  if (wave.age >= wave.lifespan) return -1.0F;
  const float in = FadeInFactor(wave);
  const float out = FadeOutFactor(wave);
  const float factor = in > out ? out : in;
  return (factor < 1.0F ? factor : 1.0F) * wave.opacity;
}

float StrokeWidth(const Wave& wave) {
  return wave.startWidth + (wave.age / wave.lifespan) * (wave.endWidth - wave.startWidth);
}

std::int32_t QualityFactor(EffectContext& context) {
  constexpr std::int32_t kHighQuality = 1;
  if (context.inRecord->quality != kHighQuality) return 1;
  return std::clamp(ReadInteger(FilledSlot(context, kRenderQuality)), 1, 16);
}

std::int32_t DrawWave(WaveList& list, EffectContext& context, Canvas& canvas, WaveList::Position& position) {
  const Wave& wave = *position;
  const float opacity = CurrentOpacity(wave);
  if (opacity < 0.0F || (wave.placed.empty() && !wave.eachFrame)) {
    position = list.Remove(position);
    return 0;
  }
  std::int32_t result = 0;
  if (opacity != 0.0F && !wave.placed.empty()) {
    Outline points = wave.placed;  // stroking reorders, thins and transforms its points
    ProfileTable table;
    BuildProfileTable(opacity, static_cast<std::int32_t>(wave.profile), table);
    result = StrokeOutline(context, canvas, wave, points, table);
  }
  ++position;
  return result;
}

}  // namespace orvandel
