// --background: what stands behind in place of what the scene says.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::cli {

// "#rrggbb", "none", "input", or a file's name; empty: the scene's own stays. InputError.
void ReplaceBackground(std::string_view text, stage::Scene& scene);

// What people should know of what is never shown; may be empty.
std::string NoteOfUnseen(const stage::Scene& scene, const stage::ParamCatalog& catalog);

// "plate.png, blend add, in linear light"; empty where nothing stands behind.
std::string BackgroundText(const stage::Scene& scene);

}  // namespace orvandel::cli
