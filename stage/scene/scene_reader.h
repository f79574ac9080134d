// JSON to Scene. Refuses with file, JSON pointer, what was found, what is allowed, the nearest known name.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "stage/scene/json_place.h"
#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

struct ReadOptions {
  bool allowOutside = false;      // media, sounds and SVG files may lie outside the scene's folder
  std::vector<std::string> sets;  // "NAME=VALUE": parameters in place of the scene's; see set_option.h
  // "1280x720", "30000/1001", "2.5": in place of the scene's width and height, frameRate, duration. Empty: the scene's.
  std::string size{}, frameRate{}, duration{};
};

// Throws InputError: "scene.json: /parameters/Frequency: 900 is outside 0..500".
Scene ReadScene(const std::filesystem::path& file, const ParamCatalog& catalog, const ReadOptions& options = {});
// The same from text; `file` names it in messages and its folder resolves relative names.
Scene ReadSceneText(std::string_view text, const std::filesystem::path& file, const ParamCatalog& catalog,
                    const ReadOptions& options = {});

// Everything that ReadSceneText would refuse, one complaint for each faulty place, in the order of reading; none: the
// scene is good. Text that is not JSON gives one complaint.
std::vector<Complaint> SceneFaults(std::string_view text, const std::filesystem::path& file,
                                   const ParamCatalog& catalog, const ReadOptions& options = {});
// Their messages.
std::vector<std::string> SceneTextComplaints(std::string_view text, const std::filesystem::path& file,
                                             const ParamCatalog& catalog, const ReadOptions& options = {});

}  // namespace orvandel::stage
