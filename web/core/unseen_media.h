// The parts of a scene that cannot be shown where there are neither film libraries nor sound decoders: what the script
// does not hand in as a film, or a file that is read here. The rest shows.
#pragma once

#include <string>
#include <vector>

#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::web {

struct UnseenPart {
  std::string pointer;  // of the place in the scene
  std::string file;     // as the scene names it
  std::string message;
};
std::vector<UnseenPart> UnseenParts(const stage::Scene& scene, const stage::ParamCatalog& catalog);

}  // namespace orvandel::web
