// A scene's parameters as a person would see them in a host's panel at one time.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "stage/module/effect_module.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

struct ParamRow {
  std::string group;  // "" outside any
  std::string name;
  std::string value;  // with its unit: "640.0, 360.0 px", "10.000 s", "90.0°", "Polygon"
  bool inactive = false;
  bool groupOpen = true;  // with all groups around it
  bool groupInactive = false;
};

// Every parameter that bears a value, in the effect's order. The effect itself says what is active and which groups are
// open: it is notified of every parameter that the scene sets and whose changes it asked to hear of. `seconds` from
// frame 0 on. Throws as commands do.
std::vector<ParamRow> ParamsAsShown(EffectModule& module, const Scene& scene, double seconds, std::size_t emitter = 0);

}  // namespace orvandel::stage
