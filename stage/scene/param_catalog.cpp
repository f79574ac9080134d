#include "stage/scene/param_catalog.h"

#include <limits>

namespace orvandel::stage {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kFixedOne = 65536.0;

}  // namespace

double ParamInfo::ValidMin() const {
  switch (Type()) {
    case ORV_PARAM_INTEGER:
      return definition.value.integer.validMin;
    case ORV_PARAM_FIXED:
      return definition.value.fixed.validMin / kFixedOne;
    default:
      return -kInfinity;
  }
}

double ParamInfo::ValidMax() const {
  switch (Type()) {
    case ORV_PARAM_INTEGER:
      return definition.value.integer.validMax;
    case ORV_PARAM_FIXED:
      return definition.value.fixed.validMax / kFixedOne;
    default:
      return kInfinity;
  }
}

const ParamInfo* ParamCatalog::Find(std::string_view name) const {
  for (const ParamInfo& param : params_) {
    if (param.BearsValue() && param.name == name) return &param;
  }
  return nullptr;
}

const ParamInfo* ParamCatalog::AtHostIndex(std::int32_t hostIndex) const {
  // Host order from 1 without gaps is the rule, so the place is known; the search covers a catalogue with gaps.
  const auto place = static_cast<std::size_t>(hostIndex) - 1;
  if (hostIndex >= 1 && place < params_.size() && params_[place].hostIndex == hostIndex) return &params_[place];
  for (const ParamInfo& param : params_) {
    if (param.hostIndex == hostIndex) return &param;
  }
  return nullptr;
}

std::string ParamCatalog::Nearest(std::string_view name) const {
  std::vector<std::string> names;
  for (const ParamInfo& param : params_) {
    if (param.BearsValue()) names.push_back(param.name);
  }
  return NearestOf(name, names);
}

}  // namespace orvandel::stage
