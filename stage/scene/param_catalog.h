// The effect's parameters as it registered them: names, types, ranges, defaults. Nothing here is listed by hand.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "orvandel/params.h"
#include "stage/base/names.h"

namespace orvandel::stage {

struct ParamInfo {
  std::int32_t hostIndex = 0;
  OrvParamDef definition{};          // as registered; its text pointers are not to be used
  std::string name;                  // blanks trimmed; a checkbox's label
  std::vector<std::string> choices;  // of a popup
  std::string group;                 // the group that contains it, "" for none

  OrvParamType Type() const { return static_cast<OrvParamType>(definition.type); }
  bool BearsValue() const { return definition.type < ORV_PARAM_GROUP_START; }
  // The valid range in the scene's own units (degrees, pixels, seconds ...); types without one: -infinity .. infinity.
  double ValidMin() const;
  double ValidMax() const;
};

class ParamCatalog {
 public:
  void Add(ParamInfo info) { params_.push_back(std::move(info)); }
  const std::vector<ParamInfo>& Params() const { return params_; }  // in host order, from host index 1
  // A parameter that bears a value, by its trimmed English name; null when there is none.
  const ParamInfo* Find(std::string_view name) const;
  const ParamInfo* AtHostIndex(std::int32_t hostIndex) const;
  // The nearest known name, for "did you mean".
  std::string Nearest(std::string_view name) const;

 private:
  std::vector<ParamInfo> params_;
};

}  // namespace orvandel::stage
