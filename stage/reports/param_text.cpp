#include "stage/reports/param_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace orvandel::stage {
namespace {

using nlohmann::ordered_json;

double FromFixed(OrvFixed word) { return static_cast<double>(word) / 65536.0; }

std::string ColorText(const OrvPixel& pixel) {
  return fmt::format("#{:02x}{:02x}{:02x}", pixel.red, pixel.green, pixel.blue);
}

std::string ChoiceText(const ParamInfo& param, int number) {
  const bool known = number >= 1 && static_cast<std::size_t>(number) <= param.choices.size();
  return known ? param.choices[static_cast<std::size_t>(number) - 1] : fmt::format("{}", number);
}

template <typename Named>
ordered_json NameAt(const std::vector<Named>& list, std::int32_t place) {
  if (place < 1 || static_cast<std::size_t>(place) > list.size()) return nullptr;
  return list[static_cast<std::size_t>(place) - 1].name;
}

}  // namespace

std::string ColorText(const ColorValue& color) {
  const auto byte = [](double channel) { return static_cast<std::uint8_t>(std::clamp(channel + 0.5, 0.0, 255.0)); };
  return ColorText(OrvPixel{255, byte(color.red), byte(color.green), byte(color.blue)});
}

std::string TypeWord(const ParamInfo& param) {
  switch (param.Type()) {
    case ORV_PARAM_LAYER:
      return "layer";
    case ORV_PARAM_INTEGER:
      return "integer";
    case ORV_PARAM_FIXED:
      return "number";
    case ORV_PARAM_ANGLE:
      return "angle";
    case ORV_PARAM_CHECKBOX:
      return "checkbox";
    case ORV_PARAM_COLOR:
      return "color";
    case ORV_PARAM_POINT:
      return "point";
    case ORV_PARAM_POPUP:
      return "popup";
    case ORV_PARAM_PATH:
      return "mask";
    case ORV_PARAM_GROUP_START:
      return "group";
    case ORV_PARAM_GROUP_END:
      return "group end";
  }
  return fmt::format("type {}", param.definition.type);
}

std::string RangeText(const ParamInfo& param) {
  if (!param.BearsValue() || !std::isfinite(param.ValidMin()) || !std::isfinite(param.ValidMax())) return {};
  return fmt::format("{}..{}", param.ValidMin(), param.ValidMax());
}

ordered_json DefaultJson(const ParamInfo& param) {
  const OrvParamValue& value = param.definition.value;
  switch (param.Type()) {
    case ORV_PARAM_INTEGER:
      return value.integer.defaultValue;
    case ORV_PARAM_FIXED:
      return FromFixed(value.fixed.defaultValue);
    case ORV_PARAM_ANGLE:
      return FromFixed(value.angle.defaultValue);
    case ORV_PARAM_CHECKBOX:
      return value.checkbox.defaultValue != 0;
    case ORV_PARAM_COLOR:
      return ColorText(value.color.defaultValue);
    case ORV_PARAM_POPUP:
      return ChoiceText(param, value.popup.defaultValue);
    case ORV_PARAM_PATH:
      return value.path.defaultPath;
    case ORV_PARAM_POINT:
      return ordered_json{{"percent", {FromFixed(value.point.xDefault), FromFixed(value.point.yDefault)}}};
    default:
      return nullptr;  // a layer: none; groups have no value
  }
}

std::string DefaultText(const ParamInfo& param) {
  const OrvParamValue& value = param.definition.value;
  switch (param.Type()) {
    case ORV_PARAM_LAYER:
      return "none";
    case ORV_PARAM_CHECKBOX:
      return value.checkbox.defaultValue != 0 ? "on" : "off";
    case ORV_PARAM_POINT:
      return fmt::format("{}%, {}%", FromFixed(value.point.xDefault), FromFixed(value.point.yDefault));
    case ORV_PARAM_PATH:
      return value.path.defaultPath == 0 ? "none" : fmt::format("mask {}", value.path.defaultPath);
    case ORV_PARAM_GROUP_START:
    case ORV_PARAM_GROUP_END:
      return {};
    default:
      break;
  }
  const ordered_json json = DefaultJson(param);
  if (json.is_string()) return json.get<std::string>();
  return json.is_number_float() ? fmt::format("{}", json.get<double>()) : json.dump();
}

ordered_json ValueJson(const ParamInfo& param, const Value& value, const Scene& scene) {
  if (const auto* number = std::get_if<double>(&value)) return *number;
  if (const auto* point = std::get_if<PointValue>(&value)) return {point->x, point->y};
  if (const auto* color = std::get_if<ColorValue>(&value)) return ColorText(*color);
  const std::int32_t place = std::get<Choice>(value).index;
  switch (param.Type()) {
    case ORV_PARAM_CHECKBOX:
      return place != 0;
    case ORV_PARAM_LAYER:
      return NameAt(scene.layers, place);
    case ORV_PARAM_PATH:
      return NameAt(scene.masks, place);
    default:
      return ChoiceText(param, place);
  }
}

}  // namespace orvandel::stage
