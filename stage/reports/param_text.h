// One parameter of the effect in words and in JSON, in the scene file's own terms.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// "integer", "number", "angle", "checkbox", "color", "point", "popup", "layer", "mask", "group", "group end".
std::string TypeWord(const ParamInfo& param);

// "3..128"; empty for types without a range.
std::string RangeText(const ParamInfo& param);

// The registered default as a scene would write it; points in per cent of the layer, as registered.
nlohmann::ordered_json DefaultJson(const ParamInfo& param);
std::string DefaultText(const ParamInfo& param);

// "#rrggbb".
std::string ColorText(const ColorValue& color);

// A value as a scene would write it: a popup's item, a mask's or layer's name.
nlohmann::ordered_json ValueJson(const ParamInfo& param, const Value& value, const Scene& scene);

}  // namespace orvandel::stage
