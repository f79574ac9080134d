// JSON to Scene. Refuses with file, JSON pointer, what was found, what is allowed, the nearest known name.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "stage/param_catalog.h"
#include "stage/scene.h"

namespace orvandel::stage {

// Throws InputError: "scene.json: /parameters/Frequency: 900 is outside 0..500".
Scene ReadScene(const std::filesystem::path& file, const ParamCatalog& catalog);
// The same from text; `file` names it in messages and its folder resolves relative names.
Scene ReadSceneText(std::string_view text, const std::filesystem::path& file, const ParamCatalog& catalog);

}  // namespace orvandel::stage
