#include "effect/params/wave_settings.h"

#include <cmath>

#include "effect/base/float_rules.h"
#include "effect/params/param_ids.h"
#include "orvandel/math_routines.h"

namespace orvandel {
namespace {

// Direction 0 points up, 90 to the right: y grows downward.
Velocity<space::Placed> VelocityFrom(float directionDegrees, float speed) {
  const float reduced = static_cast<float>(M_fmod(static_cast<double>(directionDegrees), 360.0));
  const float radians = RadiansFromReduced(reduced);
  return {SinF(radians) * speed, -(CosF(radians) * speed)};
}

// 0 where there is no extent to be a fraction of.
float FractionOf(std::uint32_t coordinate, double extent) {
  const double fraction = static_cast<double>(static_cast<OrvFixed>(coordinate)) / 65536.0 / extent;
  return std::isfinite(fraction) ? static_cast<float>(fraction) : 0.0F;
}

}  // namespace

FractionPoint ReadProducerPoint(const ParamValue& point, const EffectContext& context) {
  const OrvInRecord& host = *context.inRecord;
  return {FractionOf(point.word0, RatioValue(host.downsampleX) * host.width),
          FractionOf(point.word1, RatioValue(host.downsampleY) * host.height)};
}

FractionPoint ReadSourceCenter(const ParamValue& point, const EffectContext& context) {
  return {FractionOf(point.word0, context.input.width), FractionOf(point.word1, context.input.height)};
}

void FillWaveSettings(WaveSettings& settings, const ParamValue* values, const EffectContext& context) {
  const auto integer = [&](ParamId id) { return ReadInteger(values[id]); };
  const auto number = [&](ParamId id) { return ReadFloat(values[id]); };
  const auto isOn = [&](ParamId id) { return values[id].word0 != 0; };

  settings.producerPoint = ReadProducerPoint(values[kProducerPoint], context);
  settings.setAt = integer(kSetAt);
  settings.velocity = VelocityFrom(number(kDirection), number(kVelocity));
  settings.expansion = number(kExpansion);
  settings.orientation = number(kOrientation);
  settings.spin = number(kSpin);
  settings.startWidth = number(kStartWidth);
  settings.endWidth = number(kEndWidth);
  settings.opacity = number(kOpacity);
  settings.color = values[kColor].word0;
  settings.profile = integer(kProfile);
  settings.frequency = number(kFrequency);
  settings.fadeIn = number(kFadeInTime);
  settings.fadeOut = number(kFadeOutTime);
  settings.lifespan = number(kLifespan);
  settings.waveType = integer(kWaveType);
  settings.sides = integer(kSides);
  settings.curveSize = number(kCurveSize);
  settings.curvyness = number(kCurvyness);
  settings.star = isOn(kStar);
  settings.starDepth = number(kStarDepth);
  settings.valueChannel = integer(kValueChannel);
  settings.invertInput = isOn(kInvertInput);
  settings.valueThreshold = number(kValueThreshold);
  settings.preBlur = number(kPreBlur);
  settings.tolerance = number(kTolerance);
  settings.contour = integer(kContour);
  settings.sourceCenter = ReadSourceCenter(values[kSourceCenter], context);
}

}  // namespace orvandel
