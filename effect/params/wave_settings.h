// All parameter values of one instant as plain numbers.
#pragma once

#include <cstdint>

#include "effect/base/geometry.h"
#include "effect/params/param_slot.h"

namespace orvandel {

// Fields marked (simulation) are not read from parameters; stepping owns them.
struct WaveSettings {
  FractionPoint producerPoint;  // of the full-size layer
  std::int32_t setAt = 0;       // 1 Birth, 2 Each Frame
  std::int32_t sampleTime = 0;  // (simulation) host time of the step being run
  Velocity<space::Placed> velocity;
  float expansion = 0;    // pixels per tick
  float orientation = 0;  // degrees
  float spin = 0;         // degrees per second
  float startWidth = 0, endWidth = 0;
  float opacity = 0;
  float emitPhase = 0;                          // (simulation) a wave is born each time it reaches 1
  std::uint32_t color = 0;                      // the value word: bytes alpha, red, green, blue
  std::int32_t profile = 0;                     // 1 Square .. 7 Sine
  float frequency = 0;                          // waves per second
  float fadeIn = 0, fadeOut = 0, lifespan = 0;  // seconds
  std::int32_t waveType = 0;                    // 1 Polygon, 2 Image Contours, 3 Mask
  std::int32_t sides = 0;
  float curveSize = 0, curvyness = 0;
  bool star = false;
  float starDepth = 0;
  std::int32_t valueChannel = 0;  // 1 Intensity .. 9 Value
  bool invertInput = false;
  float valueThreshold = 0, preBlur = 0, tolerance = 0;
  std::int32_t contour = 0;
  FractionPoint sourceCenter;  // of the input layer
};

// Fills every field that has a parameter from `values`, one per logical id.
void FillWaveSettings(WaveSettings& settings, const ParamValue* values, const EffectContext& context);

// Host points, 16.16 pixels at the render's size, as fractions of the full-size layer and of the input layer: the whole
// expression in double, rounded once.
FractionPoint ReadProducerPoint(const ParamValue& point, const EffectContext& context);
FractionPoint ReadSourceCenter(const ParamValue& point, const EffectContext& context);

}  // namespace orvandel
