// One emitted wave, and the list of a sequence's live waves with its current settings.
#pragma once

#include <cstdint>

#include "effect/base/geometry.h"
#include "effect/params/param_ids.h"
#include "effect/params/wave_settings.h"

namespace orvandel {

struct Wave {
  UnitOutline shape;
  bool shapeValid = false;
  PlacedOutline placed;
  bool placedValid = false;
  float size = 0;        // full-size layer pixels: scale of the unit shape
  float age = 0;         // seconds since birth
  FractionPoint origin;  // of the full-size layer
  Velocity<space::Placed> velocity;
  PlacedPoint offset;     // travelled from `origin`
  float orientation = 0;  // degrees
  float spin = 0;         // degrees per second
  float rotation = 0;     // degrees accumulated from `spin`
  float startWidth = 0, endWidth = 0;
  float expansion = 0;                          // pixels per tick
  float lifespan = 0, fadeIn = 0, fadeOut = 0;  // seconds
  std::uint32_t color = 0;
  float opacity = 0;
  std::uint32_t profile = 0;
  std::uint32_t waveType = 0;
  std::uint32_t sides = 0;  // used as signed
  float curveSize = 0, curvyness = 0;
  bool star = false;
  float starDepth = 0;
  std::uint32_t sourceFingerprint[2] = {0, 0};  // fingerprint of the picture that `shape` was traced from
  std::uint32_t valueChannel = 0;
  bool invertInput = false;
  float valueThreshold = 0, preBlur = 0, tolerance = 0;
  FractionPoint sourceCenter;
  std::uint32_t contour = 0;    // used as signed
  std::int32_t sampleTime = 0;  // host time at which the source picture and the mask path are fetched
  bool eachFrame = false;       // takes the list's settings at every step instead of keeping those of its birth
};

// Eight times what the largest Frequency and Lifespan keep alive; with the smallest outlines this is 2 GB. While frames
// are skipped, dead waves stay in the list until one is drawn.
inline constexpr std::size_t kMostWaves = std::size_t{1} << 22;

// Eight times the valid ranges: outlines of millions of rows on which a frame would work for minutes.
inline constexpr float kLargestExpansion = 8000;
inline constexpr float kLargestCurveSize = 8;

struct WaveList {
  using Waves = HeapList<Wave>;
  using Position = Waves::iterator;

  Waves waves;  // oldest first; waves.size() is the count of live waves
  WaveSettings settings;

  // Appends a wave with every field zero. AllocFailed leaves the list as it was: no memory, or it already has `most`.
  Wave& Append(std::size_t most = kMostWaves) {
    if (waves.size() >= most) throw AllocFailed::ForBytes((waves.size() + 1) * sizeof(Wave));
    return waves.emplace_back();
  }
  // Frees the wave and returns the position of the one that followed it.
  Position Remove(Position position) { return waves.erase(position); }
};

// Hands the list's settings to the wave and clears the validity flags of what they change.
void ApplySettings(const WaveList& list, Wave& wave);
// Moves, grows, turns and ages the wave by `dt` seconds.
void AdvanceWave(Wave& wave, float dt);

}  // namespace orvandel
