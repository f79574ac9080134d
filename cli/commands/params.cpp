// `orvandel params`: the effect's parameters as it registered them, and as a scene sets them at one time.
#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <optional>

#include "cli/commands/commands.h"
#include "cli/console.h"
#include "cli/module_file.h"
#include "cli/scene_input.h"
#include "cli/text_table.h"
#include "stage/module/effect_module.h"
#include "stage/render/param_view.h"
#include "stage/reports/param_text.h"
#include "stage/scene/param_values.h"
#include "stage/scene/scene_reader.h"

namespace orvandel::cli {
namespace {

using nlohmann::ordered_json;

// One registered parameter, and how it shows in the scene when there is one. Groups show nothing.
struct Entry {
  const stage::ParamInfo* info = nullptr;
  std::optional<stage::ParamRow> shown;
  ordered_json value;
};

std::vector<Entry> RegisteredEntries(const stage::ParamCatalog& catalog) {
  std::vector<Entry> entries;
  for (const stage::ParamInfo& info : catalog.Params()) entries.push_back({&info, std::nullopt, nullptr});
  return entries;
}

std::vector<Entry> ShownEntries(stage::EffectModule& module, const stage::Scene& scene, double seconds) {
  auto entries = RegisteredEntries(module.Catalog());
  const auto rows = stage::ParamsAsShown(module, scene, seconds);
  const auto hostTime = scene.time.preroll + static_cast<std::int32_t>(seconds * scene.time.timeScale);
  auto row = rows.begin();
  for (Entry& entry : entries) {
    if (!entry.info->BearsValue()) continue;
    entry.shown = *row++;
    entry.value =
        stage::ValueJson(*entry.info, stage::ValueAtTime(scene, scene.emitters.front(), *entry.info, hostTime), scene);
  }
  return entries;
}

std::string Joined(const std::vector<std::string>& items) { return fmt::format("{}", fmt::join(items, ", ")); }

std::string AsTable(const std::vector<Entry>& entries) {
  std::vector<std::vector<std::string>> rows{
      {"index", "id", "name", "type", "value", "", "range", "default", "group", "choices"}};
  for (const auto& [info, shown, value] : entries) {
    if (info->Type() == ORV_PARAM_GROUP_END) continue;
    rows.push_back({fmt::format("{:5}", info->hostIndex), fmt::format("{:2}", info->definition.id), info->name,
                    stage::TypeWord(*info), shown ? shown->value : "", shown && shown->inactive ? "inactive" : "",
                    stage::RangeText(*info), stage::DefaultText(*info), info->group, Joined(info->choices)});
  }
  return TextTable(rows);
}

ordered_json AsJson(const Entry& entry) {
  const stage::ParamInfo& info = *entry.info;
  ordered_json json{{"index", info.hostIndex},
                    {"id", info.definition.id},
                    {"name", info.name},
                    {"type", stage::TypeWord(info)},
                    {"group", info.group}};
  if (!stage::RangeText(info).empty()) json["range"] = {info.ValidMin(), info.ValidMax()};
  if (info.BearsValue()) json["default"] = stage::DefaultJson(info);
  if (!info.choices.empty()) json["choices"] = info.choices;
  if (entry.shown) {
    json["value"] = entry.value;
    json["shown"] = entry.shown->value;
    json["active"] = !entry.shown->inactive;
    json["groupOpen"] = entry.shown->groupOpen;
  }
  return json;
}

// The names of masks and layers are the scene's.
std::vector<std::string> ChoicesOf(const stage::ParamInfo& info, const stage::Scene* scene) {
  if (info.Type() == ORV_PARAM_CHECKBOX) return {"true", "false"};
  if (info.Type() != ORV_PARAM_LAYER && info.Type() != ORV_PARAM_PATH) return info.choices;
  std::vector<std::string> names{"null"};
  if (scene == nullptr) return names;
  for (const stage::Media& layer : scene->layers) {
    if (info.Type() == ORV_PARAM_LAYER) names.push_back(layer.name);
  }
  for (const stage::Mask& mask : scene->masks) {
    if (info.Type() == ORV_PARAM_PATH && !mask.name.empty()) names.push_back(mask.name);
  }
  return names;
}

void PrintAssignments(const stage::ParamCatalog& catalog, const stage::Scene* scene) {
  for (const stage::ParamInfo& info : catalog.Params()) {
    if (!info.BearsValue()) continue;
    Print("{}=\n", info.name);
    for (const std::string& choice : ChoicesOf(info, scene)) Print("{}={}\n", info.name, choice);
  }
}

}  // namespace

void Params(const ParamsRequest& request) {
  stage::EffectModule module(stage::LoadEffect(ModuleFile(request.scene.module)));
  std::optional<stage::Scene> scene;
  if (!request.scene.file.empty()) scene = ReadSceneOf(request.scene, module.Catalog());
  if (request.asAssignments) {
    PrintAssignments(module.Catalog(), scene ? &*scene : nullptr);
    module.SetDown();
    return;
  }
  const auto entries = scene ? ShownEntries(module, *scene, request.seconds) : RegisteredEntries(module.Catalog());
  if (request.asJson) {
    ordered_json list = ordered_json::array();
    for (const Entry& entry : entries) list.push_back(AsJson(entry));
    Print("{}\n", list.dump(2));
  } else {
    Print("{}", AsTable(entries));
  }
  module.SetDown();
}

}  // namespace orvandel::cli
