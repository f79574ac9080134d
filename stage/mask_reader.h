// A mask in the scene file: {"d": path}, {"file": name, "id": name}, or keyframes of "d".
#pragma once

#include <filesystem>
#include <string>

#include "stage/json_place.h"
#include "stage/key_reader.h"
#include "stage/scene.h"

namespace orvandel::stage {

Mask ReadMask(const JsonPlace& place, std::string name, const std::filesystem::path& folder, KeyReader& keys);

}  // namespace orvandel::stage
