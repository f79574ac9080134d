#include "effect/outline/placement.h"

#include "effect/base/float_rules.h"
#include "effect/outline/bezier.h"
#include "effect/outline/contour.h"
#include "effect/outline/mask.h"
#include "effect/outline/polygon.h"
#include "orvandel/math_routines.h"

namespace orvandel {
namespace {

constexpr float kFineTolerance = 0.3F;    // pixels
constexpr float kCoarseTolerance = 1.0F;  // pixels

void UpdatePolygonShape(Wave& wave) {
  if (wave.shapeValid) return;
  if (wave.star) {
    BuildStarShape(wave);
  } else {
    BuildPolygonShape(wave);
  }
  wave.shapeValid = true;
  wave.placedValid = false;
}

// Only polygons have rounded corners: the other types lose their curve size here, before placement reads it.
std::int32_t UpdateShape(Wave& wave, EffectContext& context, TraceMemory& traces) {
  switch (wave.waveType) {
    case kPolygonWave:
      UpdatePolygonShape(wave);
      return 0;
    case kContourWave:
      wave.curveSize = 0;
      return BuildContourShape(wave, context, traces);
    case kMaskWave:
      BuildMaskShape(wave, context);
      wave.curveSize = 0;
      wave.placedValid = false;
      return 0;
    default:
      return 0;
  }
}

PlacedPoint Toward(PlacedPoint corner, PlacedPoint neighbour, float factor) {
  return {(neighbour.x - corner.x) * factor + corner.x, (neighbour.y - corner.y) * factor + corner.y};
}

}  // namespace

void PlaceOutline(const Wave& wave, const UnitOutline& shape, PlacedOutline& target) {
  const float degrees = wave.rotation + wave.orientation;
  const float angle = RadiansFromReduced(static_cast<float>(M_fmod(static_cast<double>(degrees), 360.0)));
  const float c = CosF(angle) * wave.size;
  const float s = SinF(angle) * wave.size;
  target.resize(shape.size());
  for (std::size_t i = 0; i < shape.size(); ++i) {
    const UnitPoint point = shape[i];
    target[i] = {(point.x * c - point.y * s) + wave.offset.x, (point.x * s + point.y * c) + wave.offset.y};
  }
}

void RoundOutlineCorners(const Wave& wave, const EffectContext& context, const PlacedOutline& source,
                         PlacedOutline& target) {
  target.clear();
  const float tolerance = context.IsHighQuality() ? kFineTolerance : kCoarseTolerance;
  const float toleranceSquared = tolerance * tolerance;
  // Fractions of the way from the corner to its neighbours: where the curve ends, and where its controls lie.
  const float endFraction = wave.curveSize * 0.5F;
  const float controlFraction =
      static_cast<float>((static_cast<double>(wave.curvyness) * 0.9) * static_cast<double>(endFraction));

  const std::size_t count = source.size();
  for (std::size_t i = 0; i < count; ++i) {
    const PlacedPoint corner = source[i];
    const PlacedPoint before = source[i == 0 ? count - 1 : i - 1];
    const PlacedPoint after = source[i + 1 == count ? 0 : i + 1];
    const Cubic curve{Toward(corner, before, endFraction), Toward(corner, before, controlFraction),
                      Toward(corner, after, controlFraction), Toward(corner, after, endFraction)};
    FlattenCubic(curve, toleranceSquared, target);
    RefuseTooManyPoints(target);
  }
}

std::int32_t UpdateWaveOutline(Wave& wave, EffectContext& context, TraceMemory& traces) {
  if (const std::int32_t code = UpdateShape(wave, context, traces); code != 0) return code;
  if (wave.placedValid) return 0;
  if (wave.curveSize > 0) {
    // Rounding comes after placement: its tolerance is in pixels.
    PlacedOutline sharp;
    PlaceOutline(wave, wave.shape, sharp);
    RoundOutlineCorners(wave, context, sharp, wave.placed);
  } else {
    PlaceOutline(wave, wave.shape, wave.placed);
  }
  wave.placedValid = true;
  return 0;
}

}  // namespace orvandel
