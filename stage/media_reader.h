// A medium in the scene file: a name, or {"file": ..., "start": ...}.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "stage/json_place.h"
#include "stage/scene.h"

namespace orvandel::stage {

// Resolves against `folder` and refuses a file that is not there. Whether it can be decoded shows when it is opened.
Media ReadMedia(const JsonPlace& place, std::string name, const std::filesystem::path& folder);

// A text of the scene that names an existing plain file.
std::filesystem::path ReadFileName(const JsonPlace& place, const std::filesystem::path& folder);

// A number of the scene, exactly as written. `texts`: also "numerator/denominator".
Rational ReadExact(const JsonPlace& place, std::string_view allowed, bool texts);

}  // namespace orvandel::stage
