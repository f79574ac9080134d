// A medium in the scene file: a name, or {"file": ..., "start": ...}.
#pragma once

#include <string>
#include <string_view>

#include "stage/scene/json_place.h"
#include "stage/scene/scene.h"
#include "stage/scene/scene_files.h"

namespace orvandel::stage {

// Refuses a file that is not there. Whether it can be decoded shows when it is opened.
Media ReadMedia(const JsonPlace& place, std::string name, const SceneFiles& files);

// The same for a sound: a name, or {"file": ..., "start": seconds}.
Media ReadSound(const JsonPlace& place, const SceneFiles& files);

// A number of the scene, exactly as written. `texts`: also "numerator/denominator".
Rational ReadExact(const JsonPlace& place, std::string_view allowed, bool texts);

}  // namespace orvandel::stage
