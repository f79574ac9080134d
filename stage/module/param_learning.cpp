#include "stage/module/param_learning.h"

#include <algorithm>
#include <string_view>

#include "stage/base/names.h"

namespace orvandel::stage {
namespace {

std::string FieldText(const char (&field)[ORV_PARAM_NAME_BYTES]) {
  return {field, std::find(field, field + ORV_PARAM_NAME_BYTES, '\0')};
}

// A checkbox bears its text in the label, everything else in the name.
std::string NameOf(const OrvParamDef& definition) {
  const char* label = definition.type == ORV_PARAM_CHECKBOX ? definition.value.checkbox.label : nullptr;
  const std::string text = label != nullptr ? std::string(label) : FieldText(definition.name);
  return std::string(Trimmed(text));
}

std::vector<std::string> ChoicesOf(const OrvParamDef& definition) {
  std::vector<std::string> choices;
  if (definition.type != ORV_PARAM_POPUP || definition.value.popup.choices == nullptr) return choices;
  std::string_view rest = definition.value.popup.choices;
  for (std::size_t bar = rest.find('|'); bar != std::string_view::npos; bar = rest.find('|')) {
    choices.emplace_back(Trimmed(rest.substr(0, bar)));
    rest.remove_prefix(bar + 1);
  }
  choices.emplace_back(Trimmed(rest));
  return choices;
}

// The texts behind pointers end with the call that brought them.
OrvParamDef WithoutPointers(OrvParamDef definition) {
  if (definition.type == ORV_PARAM_CHECKBOX) definition.value.checkbox.label = nullptr;
  if (definition.type == ORV_PARAM_POPUP) definition.value.popup.choices = nullptr;
  return definition;
}

}  // namespace

std::int32_t ParamLearner::AddParam(const OrvParamDef& definition) {
  if (definition.type == ORV_PARAM_GROUP_END) {
    if (groups_.empty()) {
      ledger.Fault("a group of parameters ended that had not begun");
    } else {
      groups_.pop_back();
    }
  }
  ParamInfo info;
  info.hostIndex = static_cast<std::int32_t>(catalog_.Params().size()) + 1;
  info.definition = WithoutPointers(definition);
  info.name = NameOf(definition);
  info.choices = ChoicesOf(definition);
  info.group = groups_.empty() ? std::string() : groups_.back();
  if (definition.type == ORV_PARAM_GROUP_START) groups_.push_back(info.name);
  catalog_.Add(std::move(info));
  return 0;
}

}  // namespace orvandel::stage
