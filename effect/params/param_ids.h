// Logical parameter ids: the order-independent names by which all of the effect speaks of its parameters.
#pragma once

#include <cstdint>

namespace orvandel {

enum ParamId : std::int32_t {
  kInputLayer = 0,
  kWaveType = 1,
  kProducerPoint = 2,
  kSetAt = 3,
  kSides = 4,
  kCurveSize = 5,
  kCurvyness = 6,
  kStar = 7,
  kStarDepth = 8,
  kSourceLayer = 9,
  kSourceCenter = 10,
  kValueChannel = 11,
  kInvertInput = 12,
  kValueThreshold = 13,
  kPreBlur = 14,
  kTolerance = 15,
  kContour = 16,
  kFrequency = 17,
  kExpansion = 18,
  kOrientation = 19,
  kVelocity = 20,
  kDirection = 21,
  kSpin = 22,
  kColor = 23,
  kProfile = 24,
  kStartWidth = 25,
  kEndWidth = 26,
  kOpacity = 27,
  kLifespan = 28,
  kFadeInTime = 29,
  kFadeOutTime = 30,
  kReflection = 31,
  kRenderQuality = 32,
  kMask = 33,
  kGroupPolygon = 34,
  kGroupImageContour = 35,
  kGroupMask = 36,
  kNoParam = -1
};

// Values of "Wave Type".
enum WaveType : std::int32_t { kPolygonWave = 1, kContourWave = 2, kMaskWave = 3 };

}  // namespace orvandel
