// Decides for one wave whether it still lives and what its stroke looks like now. All that stroking needs of waves and
// parameters is read here.

#include "effect/render/draw_wave.h"

#include <algorithm>
#include <cstring>

#include "effect/base/float_rules.h"
#include "effect/params/param_ids.h"
#include "effect/params/param_slot.h"
#include "effect/render/stroke/stroke_look.h"
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

// Samples per output pixel and direction, 1..16: "Render Quality" at high quality, 1 in drafts.
std::int32_t QualityFactor(EffectContext& context) {
  if (!context.IsHighQuality()) return 1;
  return std::clamp(ReadInteger(FilledSlot(context, kRenderQuality)), 1, 16);
}

OrvPixel UnpackColor(std::uint32_t color) {
  OrvPixel pixel;
  static_assert(sizeof pixel == sizeof color);
  std::memcpy(&pixel, &color, sizeof pixel);  // the word holds the bytes in memory order
  return pixel;
}

StrokeTransform MakeStrokeTransform(const OrvInRecord& in, FractionPoint origin, std::int32_t quality) {
  const double q = quality;
  const double scaleX = RatioValue(in.downsampleX);
  const double scaleY = RatioValue(in.downsampleY);
  const LayerPoint onLayer = PixelsOf<space::Layer>(origin, in.width, in.height);
  return {static_cast<float>(q * (static_cast<double>(onLayer.x) * scaleX + in.origin.x)),
          static_cast<float>(q * (static_cast<double>(onLayer.y) * scaleY + in.origin.y)),
          static_cast<float>(q * scaleX / RatioValue(in.pixelAspect)), static_cast<float>(q * scaleY)};
}

// Checks parameters out only once the stroke needs them.
std::int32_t StrokeWave(const Wave& wave, float opacity, EffectContext& context, Canvas& canvas) {
  PlacedOutline points = wave.placed;
  ProfileTable table;
  BuildProfileTable(opacity, static_cast<std::int32_t>(wave.profile), table);
  if (points.size() < 3) return 0;
  const std::int32_t quality = QualityFactor(context);
  if (!PrepareOutline(points, *context.inRecord)) return 0;
  const StrokeLook look{StrokeWidth(wave),
                        MakeStrokeTransform(*context.inRecord, wave.origin, quality),
                        quality,
                        UnpackColor(wave.color),
                        &table,
                        ValueWord(FilledSlot(context, kReflection)) != 0};
  return canvas.Stroke(context, points, look);
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

bool IsOver(const Wave& wave) { return CurrentOpacity(wave) < 0.0F || (wave.placed.empty() && !wave.eachFrame); }

std::int32_t DrawWave(WaveList& list, EffectContext& context, Canvas& canvas, WaveList::Position& position) {
  const Wave& wave = *position;
  if (IsOver(wave)) {
    position = list.Remove(position);
    return 0;
  }
  const float opacity = CurrentOpacity(wave);
  std::int32_t result = 0;
  if (opacity != 0.0F && !wave.placed.empty()) result = StrokeWave(wave, opacity, context, canvas);
  ++position;
  return result;
}

}  // namespace orvandel
