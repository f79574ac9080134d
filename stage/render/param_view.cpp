#include "stage/render/param_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>

#include "stage/base/errors.h"
#include "stage/module/module_session.h"
#include "stage/render/scene_answers.h"
#include "stage/scene/param_values.h"

namespace orvandel::stage {
namespace {

// The effect registers bare numbers; what they count is known by their names. Per cent also scales the number.
struct Unit {
  std::string_view name, text;
};
constexpr Unit kUnits[] = {
    {"Frequency", " waves/s"}, {"Expansion", " px/tick"}, {"Velocity", " px/s"},   {"Spin", "°/s"},
    {"Lifespan (sec)", " s"},  {"Fade-in Time", " s"},    {"Fade-out Time", " s"}, {"Start Width", " px"},
    {"End Width", " px"},      {"Pre-Blur", " px"},       {"Tolerance", " px"},    {"Opacity", " %"},
};

std::string_view UnitOf(std::string_view name) {
  for (const Unit& unit : kUnits) {
    if (unit.name == name) return unit.text;
  }
  return {};
}

std::string NumberText(const ParamInfo& info, double value) {
  const std::string_view unit = UnitOf(info.name);
  int decimals = std::clamp<int>(info.definition.value.fixed.precision, 0, 9);
  if (unit == " %") {
    value *= 100;
    decimals = std::max(decimals - 2, 0);
  }
  return fmt::format("{:.{}f}{}", value, decimals, unit);
}

std::string PlaceText(std::int32_t place, const std::string* name) {
  return place == 0 || name == nullptr ? "none" : *name;
}

std::string ChoiceText(const ParamInfo& info, std::int32_t index, const Scene& scene) {
  const auto place = static_cast<std::size_t>(index) - 1;
  switch (info.Type()) {
    case ORV_PARAM_CHECKBOX:
      return index != 0 ? "on" : "off";
    case ORV_PARAM_LAYER:
      return PlaceText(index, index > 0 ? &scene.layers.at(place).name : nullptr);
    case ORV_PARAM_PATH:
      return PlaceText(index, index > 0 ? &scene.masks.at(place).name : nullptr);
    default:
      return place < info.choices.size() ? info.choices[place] : std::to_string(index);
  }
}

std::string ValueText(const ParamInfo& info, const Value& value, const Scene& scene) {
  if (const auto* point = std::get_if<PointValue>(&value)) return fmt::format("{:.1f}, {:.1f} px", point->x, point->y);
  if (const auto* choice = std::get_if<Choice>(&value)) return ChoiceText(info, choice->index, scene);
  if (const auto* color = std::get_if<ColorValue>(&value)) {
    const auto byte = [](double channel) {
      return static_cast<int>(std::clamp(std::floor(channel + 0.5), 0.0, 255.0));
    };
    return fmt::format("#{:02x}{:02x}{:02x}", byte(color->red), byte(color->green), byte(color->blue));
  }
  const double number = std::get<double>(value);
  if (info.Type() == ORV_PARAM_ANGLE) return fmt::format("{:.1f}°", number);
  if (info.Type() == ORV_PARAM_INTEGER) return fmt::format("{:.0f}", std::floor(number + 0.5));
  return NumberText(info, number);
}

std::int32_t HostTimeOf(const Timebase& time, double seconds) {
  const double units = seconds * time.timeScale;
  constexpr double kMost = 1 << 30;
  if (!(units >= 0 && units <= kMost)) throw InputError(fmt::format("there is no time {} s in a scene", seconds));
  return time.preroll + static_cast<std::int32_t>(units);
}

void AskForAppearance(EffectModule::Impl& module, const Scene& scene, const Emitter& emitter, std::int32_t hostTime) {
  const OutputScale fullSize = OutputScale::Downsampled(scene, 1);
  SceneAnswers answers(module, scene, emitter, fullSize);
  const CommandTime when = CommandTime::Of(scene, hostTime, fullSize, true);
  OrvHandle noSequence = nullptr;
  module.ShowAsRegistered();
  for (const ParamInfo& info : module.catalog.Params()) {
    const bool supervised = (info.definition.hostFlags & ORV_PARAM_SUPERVISED) != 0;
    if (!supervised || emitter.tracks[static_cast<std::size_t>(info.hostIndex)].keys.empty()) continue;
    OrvChangedParam changed{info.hostIndex};
    module.Send({ORV_USER_CHANGED_PARAM, answers.ParamsAt(hostTime), nullptr, &changed}, answers, when, noSequence);
  }
  module.Send({ORV_UPDATE_PARAMS_UI, answers.ParamsAt(hostTime)}, answers, when, noSequence);
}

}  // namespace

std::vector<ParamRow> ParamsAsShown(EffectModule& effect, const Scene& scene, double seconds, std::size_t emitter) {
  EffectModule::Impl& module = effect.Internals();
  const Emitter& instance = scene.emitters.at(emitter);
  const std::int32_t hostTime = HostTimeOf(scene.time, seconds);
  AskForAppearance(module, scene, instance, hostTime);

  std::vector<ParamRow> rows;
  std::vector<const ParamUiState*> groups;
  for (const ParamInfo& info : module.catalog.Params()) {
    const ParamUiState& ui = module.ui[static_cast<std::size_t>(info.hostIndex)];
    if (info.Type() == ORV_PARAM_GROUP_START) groups.push_back(&ui);
    if (info.Type() == ORV_PARAM_GROUP_END) groups.pop_back();
    if (!info.BearsValue()) continue;
    const bool open =
        std::none_of(groups.begin(), groups.end(), [](const ParamUiState* group) { return group->closed; });
    rows.push_back({info.group, info.name, ValueText(info, ValueAtTime(scene, instance, info, hostTime), scene),
                    ui.inactive, open, !groups.empty() && groups.back()->inactive});
  }
  return rows;
}

}  // namespace orvandel::stage
