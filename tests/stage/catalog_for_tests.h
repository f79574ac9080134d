// A catalogue with parameters of every type, as if an effect had registered them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "stage/scene/param_catalog.h"

namespace orvandel::stage {

class CatalogBuilder {
 public:
  ParamInfo& Add(OrvParamType type, std::string name) {
    ParamInfo info;
    info.hostIndex = static_cast<std::int32_t>(params_.size()) + 1;
    info.definition.type = type;
    info.name = std::move(name);
    return params_.emplace_back(std::move(info));
  }
  void Fixed(std::string name, double low, double high, double value) {
    const auto word = [](double v) { return static_cast<OrvFixed>(v * 65536); };
    Add(ORV_PARAM_FIXED, std::move(name)).definition.value.fixed = {0, word(low), word(high), 0, 0, word(value), 2, 0};
  }
  void Integer(std::string name, int low, int high, int value) {
    Add(ORV_PARAM_INTEGER, std::move(name)).definition.value.integer = {0, low, high, low, high, value};
  }
  void Popup(std::string name, std::vector<std::string> choices, std::int16_t value) {
    ParamInfo& info = Add(ORV_PARAM_POPUP, std::move(name));
    info.definition.value.popup = {0, static_cast<std::int16_t>(choices.size()), value, nullptr};
    info.choices = std::move(choices);
  }
  ParamCatalog Catalog() const {
    ParamCatalog catalog;
    for (const ParamInfo& info : params_) catalog.Add(info);
    return catalog;
  }

 private:
  std::vector<ParamInfo> params_;
};

inline ParamCatalog CatalogForTests() {
  CatalogBuilder builder;
  builder.Add(ORV_PARAM_POINT, "Producer Point").definition.value.point = {0, 0, 1, 50 * 65536, 25 * 65536};
  builder.Popup("Wave Type", {"Polygon", "Image Contours", "Mask"}, 1);
  builder.Integer("Sides", 3, 128, 64);
  builder.Fixed("Star Depth", -1, 10, -0.5);
  builder.Add(ORV_PARAM_CHECKBOX, "Star").definition.value.checkbox = {0, 1, nullptr};
  builder.Add(ORV_PARAM_LAYER, "Source Layer").definition.value.layer.defaultLayer = -1;
  builder.Add(ORV_PARAM_GROUP_START, "Mask");  // a group and a parameter of one name
  builder.Add(ORV_PARAM_PATH, "Mask").definition.value.path = {0, 1};
  builder.Add(ORV_PARAM_GROUP_END, "");
  builder.Fixed("Frequency", 0, 500, 1);
  builder.Add(ORV_PARAM_ANGLE, "Direction").definition.value.angle = {0, 90 * 65536};
  builder.Fixed("Lifespan (sec)", 0, 1000, 10);
  builder.Add(ORV_PARAM_COLOR, "Color").definition.value.color = {{}, {255, 0, 0, 255}};
  builder.Fixed("Expansion", 0, 1000, 5);
  return builder.Catalog();
}

inline const ParamInfo& ParamForTests(const std::string& name) {
  static const ParamCatalog catalog = CatalogForTests();
  return *catalog.Find(name);
}

}  // namespace orvandel::stage
