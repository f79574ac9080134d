#include "web/core/answers.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "stage/base/errors.h"
#include "stage/render/param_view.h"
#include "stage/reports/param_text.h"
#include "stage/reports/scene_remarks.h"
#include "stage/reports/wave_json.h"
#include "stage/scene/keyframes.h"
#include "stage/scene/mask_path.h"
#include "stage/scene/param_meanings.h"
#include "stage/scene/param_values.h"
#include "stage/scene/source_reader.h"

namespace orvandel::web {
namespace {

using nlohmann::ordered_json;

constexpr std::int32_t kMostValues = 1 << 20;
constexpr std::int64_t kMostWaves = 200000;  // what the program allows unless told

double FromFixed(OrvFixed word) { return static_cast<double>(word) / 65536.0; }

std::string TextOf(const ordered_json& json) {
  return json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

void AddRanges(ordered_json& json, const stage::ParamInfo& info) {
  const OrvParamValue& value = info.definition.value;
  if (info.Type() != ORV_PARAM_INTEGER && info.Type() != ORV_PARAM_FIXED) return;
  const bool whole = info.Type() == ORV_PARAM_INTEGER;
  json["min"] = info.ValidMin();
  json["max"] = info.ValidMax();
  json["sliderMin"] = whole ? value.integer.sliderMin : FromFixed(value.fixed.sliderMin);
  json["sliderMax"] = whole ? value.integer.sliderMax : FromFixed(value.fixed.sliderMax);
  json["precision"] = whole ? 0 : value.fixed.precision;
}

ordered_json ParamJson(const stage::ParamInfo& info) {
  const auto [meaning, unit] = stage::MeaningOf(info.name);
  ordered_json json{{"name", info.name}, {"kind", stage::TypeWord(info)}, {"group", info.group}};
  AddRanges(json, info);
  json["default"] = stage::DefaultJson(info);
  if (!info.choices.empty()) json["choices"] = info.choices;
  json["unit"] = unit;
  json["description"] = meaning;
  json["takesSources"] = stage::TakesSources(info);
  return json;
}

ordered_json CurveValue(const stage::ParamInfo& info, const stage::Value& value, const stage::Scene& scene) {
  if (info.Type() == ORV_PARAM_POPUP) return std::get<stage::Choice>(value).index;
  return stage::ValueJson(info, value, scene);
}

ordered_json PathJson(const stage::MaskPath& path) {
  ordered_json segments = ordered_json::array();
  for (const stage::Cubic& cubic : path.segments) {
    segments.push_back(
        {cubic.p0.x, cubic.p0.y, cubic.c1.x, cubic.c1.y, cubic.c2.x, cubic.c2.y, cubic.p3.x, cubic.p3.y});
  }
  return segments;
}

}  // namespace

std::string CatalogJson(const stage::ParamCatalog& catalog) {
  ordered_json list = ordered_json::array();
  for (const stage::ParamInfo& info : catalog.Params()) {
    if (info.BearsValue()) list.push_back(ParamJson(info));
  }
  return TextOf(list);
}

std::string ShownJson(Session& session, std::int32_t effect, std::int32_t frame) {
  const stage::Scene& scene = session.Loaded();
  session.Effect(effect);
  const double seconds = stage::SecondsOf(session.HostTimeOf(frame) - scene.time.preroll, scene.time.timeScale);
  ordered_json inactive = ordered_json::array();
  std::set<std::string> open, inactiveGroups;
  for (const stage::ParamRow& row :
       stage::ParamsAsShown(session.Module(), scene, seconds, static_cast<std::size_t>(effect))) {
    if (row.inactive) inactive.push_back(row.name);
    if (row.groupOpen) open.insert(row.group);
    if (row.groupInactive) inactiveGroups.insert(row.group);
  }
  open.erase("");
  return TextOf({{"inactive", std::move(inactive)}, {"open", open}, {"inactiveGroups", inactiveGroups}});
}

std::string WavesJson(Session& session, std::int32_t effect, std::int32_t frame) {
  const auto& waves = session.WavesOf(effect, frame);
  std::string list = "[";
  for (std::size_t i = 0; i < waves.size(); ++i) {
    if (i > 0) list += ',';
    const stage::WavePlace place{frame, static_cast<std::size_t>(effect), i};
    list += stage::WaveJson(session.Loaded(), session.Catalog(), place, waves[i], true);
  }
  return list + "]";
}

std::string ValuesJson(const Session& session, std::int32_t effect, std::string_view name, const FrameSteps& frames) {
  const stage::Emitter& emitter = session.Effect(effect);
  const stage::ParamInfo* info = session.Catalog().Find(name);
  if (info == nullptr) throw stage::InputError(fmt::format("the effect has no parameter \"{}\"", name));
  if (frames.count < 0 || frames.count > kMostValues || frames.step < 1 || frames.step > kMostValues) {
    throw stage::InputError(fmt::format("{} values {} frames apart are too many", frames.count, frames.step));
  }
  const stage::Scene& scene = session.Loaded();
  ordered_json list = ordered_json::array();
  for (std::int64_t i = 0, frame = frames.first; i < frames.count; ++i, frame += frames.step) {
    const bool inside = frame >= 0 && frame < scene.time.frameCount;
    if (!inside) throw stage::InputError(fmt::format("frame {} is outside 0..{}", frame, scene.time.frameCount - 1));
    const std::int32_t hostTime = scene.time.TimeOfFrame(static_cast<std::int32_t>(frame));
    list.push_back(CurveValue(*info, stage::ValueAtTime(scene, emitter, *info, hostTime), scene));
  }
  return TextOf(list);
}

std::string MasksJson(const Session& session, std::int32_t frame) {
  const stage::Scene& scene = session.Loaded();
  const std::int32_t time = scene.time.SceneTime(session.HostTimeOf(frame));
  ordered_json list = ordered_json::array();
  for (const stage::Mask& mask : scene.masks) {
    const stage::MaskPath path = stage::PathOf(mask, stage::MaskSpanAt(mask, time, scene.time.timeScale), {});
    list.push_back({{"name", mask.name}, {"closed", path.closed}, {"segments", PathJson(path)}});
  }
  return TextOf(list);
}

std::string RemarksJson(const Session& session) {
  stage::Remarks remarks;
  stage::RemarkOnForm(session.Loaded(), remarks);
  stage::RemarkOnWaves(session.Loaded(), session.Catalog(), kMostWaves, remarks);
  stage::RemarkOnMedia(session.Loaded(), session.Catalog(), remarks);
  return TextOf({{"warnings", remarks.warnings}, {"notes", remarks.notes}});
}

}  // namespace orvandel::web
