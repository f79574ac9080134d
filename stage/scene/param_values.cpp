#include "stage/scene/param_values.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "stage/scene/keyframes.h"
#include "stage/scene/value_sources.h"

namespace orvandel::stage {
namespace {

constexpr double kFixedOne = 65536.0;

double FromFixed(OrvFixed word) { return word / kFixedOne; }

// A truncation that is defined for every double; only an eased point or angle can leave the words at all.
std::int32_t Saturated(double value) {
  constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
  constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();
  if (std::isnan(value)) return 0;
  if (value <= kLowest) return kLowest;
  if (value >= kHighest) return kHighest;
  return static_cast<std::int32_t>(value);
}

std::uint8_t ToChannel(double value) {
  if (std::isnan(value)) return 0;
  return static_cast<std::uint8_t>(std::clamp(std::floor(value + 0.5), 0.0, 255.0));
}

PointValue DefaultPoint(const OrvPointValue& point, const Scene& scene) {
  return {FromFixed(point.xDefault) * scene.width / 100, FromFixed(point.yDefault) * scene.height / 100};
}

Choice DefaultMask(std::int32_t place, const Scene& scene) {
  const bool exists = place >= 1 && static_cast<std::size_t>(place) <= scene.masks.size();
  return {exists ? place : 0};
}

}  // namespace

Value DefaultValue(const ParamInfo& info, const Scene& scene) {
  const OrvParamValue& value = info.definition.value;
  switch (info.Type()) {
    case ORV_PARAM_INTEGER:
      return static_cast<double>(value.integer.defaultValue);
    case ORV_PARAM_FIXED:
      return FromFixed(value.fixed.defaultValue);
    case ORV_PARAM_ANGLE:
      return FromFixed(value.angle.defaultValue);
    case ORV_PARAM_CHECKBOX:
      return Choice{value.checkbox.defaultValue != 0 ? 1 : 0};
    case ORV_PARAM_POPUP:
      return Choice{value.popup.defaultValue};
    case ORV_PARAM_PATH:
      return DefaultMask(value.path.defaultPath, scene);
    case ORV_PARAM_POINT:
      return DefaultPoint(value.point, scene);
    case ORV_PARAM_COLOR: {
      const OrvPixel& color = value.color.defaultValue;
      return ColorValue{double(color.red), double(color.green), double(color.blue)};
    }
    default:
      return Choice{0};
  }
}

namespace {

// The unit before a tick belongs to it: the effect's two truncations may lead there.
double ValueOfTick(const std::vector<double>& values, std::int32_t hostTime, std::int32_t timeScale) {
  constexpr std::int64_t kTicksPerSecond = 30;
  const std::int64_t tick = (std::int64_t{std::max(hostTime, 0)} + 1) * kTicksPerSecond / timeScale;
  return values[std::min(static_cast<std::size_t>(tick), values.size() - 1)];
}

Value PlainValueAt(const Scene& scene, const Track& track, const ParamInfo& info, std::int32_t sceneTime) {
  if (!track.sources.empty()) return SourcedValue(track, info, scene.time, sceneTime);
  if (track.keys.empty()) return DefaultValue(info, scene);
  if (track.keys.size() == 1) return track.keys.front().value;
  const bool oneLater = info.Type() == ORV_PARAM_LAYER || info.Type() == ORV_PARAM_PATH;
  return ValueAt(track, info, SecondsOf(sceneTime + (oneLater ? 1 : 0), scene.time.timeScale));
}

}  // namespace

Value ValueAtTime(const Scene& scene, const Emitter& emitter, const ParamInfo& info, std::int32_t hostTime) {
  const Track& track = emitter.tracks[static_cast<std::size_t>(info.hostIndex)];
  if (track.byTick && !track.live) return ValueOfTick(*track.byTick, hostTime, scene.time.timeScale);
  Value value = track.live ? track.live->At(hostTime, scene.time.timeScale)
                           : PlainValueAt(scene, track, info, scene.time.SceneTime(hostTime));
  if (track.factor != 1) std::get<double>(value) *= track.factor;
  if (track.perLoop != 0) std::get<double>(value) += track.perLoop * scene.time.LoopAt(hostTime);
  return value;
}

OrvFixed ToFixed(double value) { return Saturated(value * kFixedOne); }

void WriteValue(const ParamInfo& info, const Value& value, const PixelMap& map, OrvParamDef& definition) {
  definition.type = info.definition.type;
  OrvParamValue& words = definition.value;
  switch (info.Type()) {
    case ORV_PARAM_INTEGER:
      words.integer.value = Saturated(std::floor(std::get<double>(value) + 0.5));
      break;
    case ORV_PARAM_FIXED:
      words.fixed.value = ToFixed(std::get<double>(value));
      break;
    case ORV_PARAM_ANGLE:
      words.angle.value = ToFixed(std::get<double>(value));
      break;
    case ORV_PARAM_CHECKBOX:
      words.checkbox.value = std::get<Choice>(value).index;
      break;
    case ORV_PARAM_POPUP:
      words.popup.value = std::get<Choice>(value).index;
      break;
    case ORV_PARAM_PATH:
      words.path.pathId = std::get<Choice>(value).index;
      break;
    case ORV_PARAM_POINT: {
      const PointValue point = map.Of(std::get<PointValue>(value));
      words.point.x = ToFixed(point.x);
      words.point.y = ToFixed(point.y);
      break;
    }
    case ORV_PARAM_COLOR: {
      const auto& color = std::get<ColorValue>(value);
      words.color.value = {255, ToChannel(color.red), ToChannel(color.green), ToChannel(color.blue)};
      break;
    }
    default:
      break;
  }
}

}  // namespace orvandel::stage
