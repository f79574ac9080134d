#include "effect/sim/wave.h"

namespace orvandel {
namespace {

// Copies where the values differ and then clears the flag that the change makes stale.
template <typename Value, typename Setting>
void Follow(Value& waveValue, const Setting& setting, bool& valid) {
  const auto wanted = static_cast<Value>(setting);
  if (waveValue == wanted) return;
  waveValue = wanted;
  valid = false;
}

void FollowPolygonSettings(const WaveSettings& settings, Wave& wave) {
  Follow(wave.curveSize, settings.curveSize, wave.placedValid);
  Follow(wave.curvyness, settings.curvyness, wave.placedValid);
  Follow(wave.star, settings.star, wave.shapeValid);
  Follow(wave.starDepth, settings.starDepth, wave.shapeValid);
}

void FollowContourSettings(const WaveSettings& settings, Wave& wave) {
  Follow(wave.valueChannel, settings.valueChannel, wave.shapeValid);
  Follow(wave.invertInput, settings.invertInput, wave.shapeValid);
  Follow(wave.valueThreshold, settings.valueThreshold, wave.shapeValid);
  Follow(wave.preBlur, settings.preBlur, wave.shapeValid);
  Follow(wave.tolerance, settings.tolerance, wave.shapeValid);
  Follow(wave.sourceCenter, settings.sourceCenter, wave.shapeValid);
  Follow(wave.contour, settings.contour, wave.shapeValid);
}

}  // namespace

void ApplySettings(const WaveList& list, Wave& wave) {
  const WaveSettings& settings = list.settings;
  Follow(wave.sides, settings.sides, wave.shapeValid);
  wave.expansion = settings.expansion;
  Follow(wave.origin, settings.producerPoint, wave.placedValid);
  wave.startWidth = settings.startWidth;
  wave.endWidth = settings.endWidth;
  wave.lifespan = settings.lifespan;
  wave.fadeIn = settings.fadeIn;
  wave.fadeOut = settings.fadeOut;
  Follow(wave.waveType, settings.waveType, wave.shapeValid);
  Follow(wave.orientation, settings.orientation, wave.placedValid);
  wave.velocity = settings.velocity;
  wave.spin = settings.spin;
  wave.color = settings.color;
  wave.profile = static_cast<std::uint32_t>(settings.profile);
  wave.opacity = settings.opacity;
  if (settings.waveType == kPolygonWave) FollowPolygonSettings(settings, wave);
  if (settings.waveType == kContourWave) FollowContourSettings(settings, wave);
  wave.sampleTime = settings.sampleTime;
}

void AdvanceWave(Wave& wave, float dt) {
  wave.size += dt * wave.expansion * 30.0F;
  Move(wave.offset, wave.velocity, dt);
  wave.placedValid = false;
  wave.age += dt;
  wave.rotation += dt * wave.spin;
}

}  // namespace orvandel
