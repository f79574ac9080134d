// The scene that a command works on: a file, or standard input for "-".
#pragma once

#include <filesystem>
#include <string>

#include "cli/requests.h"
#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::cli {

struct SceneText {
  std::string text;
  std::filesystem::path file;  // "standard input" for "-": the names in the scene then start at the current folder
};

// InputError. Standard input can be read once.
SceneText LoadScene(const SceneRequest& request);

// LoadScene, read and checked.
stage::Scene ReadSceneOf(const SceneRequest& request, const stage::ParamCatalog& catalog);

}  // namespace orvandel::cli
