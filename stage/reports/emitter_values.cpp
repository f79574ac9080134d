#include "stage/reports/emitter_values.h"

#include <fmt/format.h>

#include <cmath>

#include "stage/base/errors.h"
#include "stage/scene/param_values.h"

namespace orvandel::stage {

const ParamInfo& EmitterValues::Info(std::string_view name) const {
  const ParamInfo* info = catalog_.Find(name);
  if (info == nullptr) throw WorkError(fmt::format("the effect has no parameter \"{}\"", name));
  return *info;
}

double EmitterValues::Number(std::string_view name, std::int64_t tick) const {
  const auto unitsPerTick = scene_.time.timeScale / static_cast<std::int32_t>(kTicksPerSecond);
  return NumberAt(name, static_cast<std::int32_t>(tick * unitsPerTick));
}

double EmitterValues::NumberAt(std::string_view name, std::int32_t hostTime) const {
  const Value value = ValueAtTime(scene_, emitter_, Info(name), hostTime);
  if (const auto* choice = std::get_if<Choice>(&value)) return choice->index;
  return std::get<double>(value);
}

bool EmitterValues::IsConstant(std::string_view name) const {
  return emitter_.tracks[static_cast<std::size_t>(Info(name).hostIndex)].IsConstant();
}

std::string EmitterValues::ChoiceText(std::string_view name, std::int64_t tick) const {
  const auto& choices = Info(name).choices;
  const auto place = static_cast<std::size_t>(Number(name, tick)) - 1;
  return place < choices.size() ? choices[place] : "?";
}

}  // namespace orvandel::stage
