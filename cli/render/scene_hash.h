// What the pictures of a scene depend on, as hashes: enough to distinguish states of a scene, no protection against
// forgery.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"
#include "stage/scene/scene_reader.h"

namespace orvandel::cli {

// Of the values in the scene's text and the options that stand in their place. Comments and blanks do not count, nor do
// sound and $schema, nor the duration where nothing goes by it: a film may become longer.
std::string SceneHash(const std::string& sceneText, const stage::Scene& scene, const stage::ReadOptions& options);

// Of the scene's masks, wherever they come from, and of each file that its pictures are made of, by name. Of files
// beyond 256 MB in all, size and time of change count in place of the content. InputError.
std::map<std::string, std::string> PartHashes(const stage::Scene& scene, const stage::ParamCatalog& catalog);

// Of a file's content; beyond 256 MB, of its size and time of change.
std::string FileHash(const std::filesystem::path& file);

}  // namespace orvandel::cli
