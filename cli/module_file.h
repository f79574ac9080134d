// Which module file a command loads.
#pragma once

#include <filesystem>

#include "stage/loading/loaded_effect.h"
#include "stage/module/effect_module.h"

namespace orvandel::cli {

// `chosen`, or the module beside the program when nothing was chosen.
inline std::filesystem::path ModuleFile(const std::filesystem::path& chosen) {
  return chosen.empty() ? stage::DefaultModulePath() : chosen;
}

}  // namespace orvandel::cli
