#include "effect/params/wave_settings.h"

#include <cmath>

#include "effect/base/float_rules.h"
#include "effect/params/param_ids.h"
#include "effect/params/param_slot.h"
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
float FractionOf(OrvFixed coordinate, double extent) {
  const double fraction = static_cast<double>(coordinate) / 65536.0 / extent;
  return std::isfinite(fraction) ? static_cast<float>(fraction) : 0.0F;
}

}  // namespace

FractionPoint ReadProducerPoint(const ParamSlot& slot, const EffectContext& context) {
  const OrvInRecord& host = *context.inRecord;
  const OrvPointValue& point = slot.definition.value.point;
  return {FractionOf(point.x, RatioValue(host.downsampleX) * host.width),
          FractionOf(point.y, RatioValue(host.downsampleY) * host.height)};
}

void FillWaveSettings(WaveSettings& settings, const ParamSlot* simParams, const EffectContext& context) {
  const auto integer = [&](ParamId id) { return ReadInteger(simParams[id]); };
  const auto number = [&](ParamId id) { return ReadFloat(simParams[id]); };
  const auto isOn = [&](ParamId id) { return ValueWord(simParams[id].definition) != 0; };

  settings.producerPoint = ReadProducerPoint(simParams[kProducerPoint], context);
  settings.setAt = integer(kSetAt);
  settings.velocity = VelocityFrom(number(kDirection), number(kVelocity));
  settings.expansion = number(kExpansion);
  settings.orientation = number(kOrientation);
  settings.spin = number(kSpin);
  settings.startWidth = number(kStartWidth);
  settings.endWidth = number(kEndWidth);
  settings.opacity = number(kOpacity);
  settings.color = ValueWord(simParams[kColor].definition);
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
  const OrvPointValue& center = simParams[kSourceCenter].definition.value.point;
  settings.sourceCenter = {FractionOf(center.x, context.input.width), FractionOf(center.y, context.input.height)};
}

}  // namespace orvandel
