// A mask in the scene file: {"d": path}, {"file": drawing}, or keyframes of "d"; and which part of it lies where.
#pragma once

#include <string>
#include <vector>

#include "stage/scene/json_place.h"
#include "stage/scene/key_reader.h"
#include "stage/scene/mask_placement.h"
#include "stage/scene/scene.h"
#include "stage/scene/scene_files.h"

namespace orvandel::stage {

struct MaskRead {
  Mask mask;
  std::vector<MaskPath> further;  // outlines of the same drawing that are drawn with it
  bool asked = false;             // the scene asked for all of them
  std::vector<std::string> notes;
};

MaskRead ReadMask(const JsonPlace& place, std::string name, const SceneFiles& files, const PictureSize& picture,
                  KeyReader& keys);

}  // namespace orvandel::stage
