// One parameter of the effect in words and in JSON, in the scene file's own terms.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::cli {

// "integer", "number", "angle", "checkbox", "color", "point", "popup", "layer", "mask", "group", "group end".
std::string TypeWord(const stage::ParamInfo& param);

// "3..128"; empty for types without a range.
std::string RangeText(const stage::ParamInfo& param);

// The registered default as a scene would write it; points in per cent of the layer, as registered.
nlohmann::ordered_json DefaultJson(const stage::ParamInfo& param);
std::string DefaultText(const stage::ParamInfo& param);

// "#rrggbb".
std::string ColorText(const stage::ColorValue& color);

// A value as a scene would write it: a popup's item, a mask's or layer's name.
nlohmann::ordered_json ValueJson(const stage::ParamInfo& param, const stage::Value& value, const stage::Scene& scene);

}  // namespace orvandel::cli
