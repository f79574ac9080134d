// A mask in the scene file: {"d": path}, {"file": name, "id": name}, or keyframes of "d".
#pragma once

#include <string>

#include "stage/scene/json_place.h"
#include "stage/scene/key_reader.h"
#include "stage/scene/scene.h"
#include "stage/scene/scene_files.h"

namespace orvandel::stage {

Mask ReadMask(const JsonPlace& place, std::string name, const SceneFiles& files, KeyReader& keys);

}  // namespace orvandel::stage
