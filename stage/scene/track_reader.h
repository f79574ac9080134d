// One parameter in the scene file: a value of the parameter's type, keyframes of such values, or a source of numbers.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "stage/scene/json_place.h"
#include "stage/scene/key_reader.h"
#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"
#include "stage/scene/source_reader.h"

namespace orvandel::stage {

// Names of the scene's own things to their place, from 1.
using PlaceByName = std::map<std::string, std::int32_t, std::less<>>;

struct SceneNames {
  PlaceByName layers, masks;
};

Track ReadTrack(const JsonPlace& place, const ParamInfo& info, const SceneNames& names, KeyReader& keys,
                SourceReader& sources);

}  // namespace orvandel::stage
