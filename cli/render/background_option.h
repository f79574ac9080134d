// --background: what stands behind in place of what the scene says.
#pragma once

#include <string>
#include <string_view>

#include "stage/scene/scene.h"

namespace orvandel::cli {

// "#rrggbb", "none", "input", or a file's name; empty: the scene's own stays. InputError.
void ReplaceBackground(std::string_view text, stage::Scene& scene);

// "plate.png, blend add, in linear light"; empty where nothing stands behind.
std::string BackgroundText(const stage::Scene& scene);

}  // namespace orvandel::cli
