// One emitter's parameters by name, at the times at which the effect takes them.
//
// The effect steps in ticks of 1/30 s and takes its settings at the start of each.
#pragma once

#include <cstdint>
#include <string_view>

#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

inline constexpr double kTicksPerSecond = 30;

class EmitterValues {
 public:
  // All references must outlive it.
  EmitterValues(const Scene& scene, const Emitter& emitter, const ParamCatalog& catalog)
      : scene_(scene), emitter_(emitter), catalog_(catalog) {}

  // By the parameter's name, which must be one of the effect's. A checkbox is 0 or 1, a popup its number from 1.
  double Number(std::string_view name, std::int64_t tick) const;
  double NumberAt(std::string_view name, std::int32_t hostTime) const;
  bool IsConstant(std::string_view name) const;
  // Of a popup: the item's text.
  std::string ChoiceText(std::string_view name, std::int64_t tick) const;

  // Waves keep the settings of their birth; otherwise all have those of the moment.
  bool SetAtBirth(std::int64_t tick) const { return Number("Parameters are set at", tick) == 1; }

 private:
  const ParamInfo& Info(std::string_view name) const;

  const Scene& scene_;
  const Emitter& emitter_;
  const ParamCatalog& catalog_;
};

}  // namespace orvandel::stage
