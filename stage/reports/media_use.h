// Which of a scene's media reach its pictures.
#pragma once

#include <cstddef>
#include <string>

#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// Whether a parameter names the layer at some time.
bool IsLayerUsed(std::size_t layer, const Scene& scene, const ParamCatalog& catalog);

// A sentence about an input that neither stands behind nor is traced by any effect; else empty.
std::string NoteOfUnseen(const Scene& scene, const ParamCatalog& catalog);

}  // namespace orvandel::stage
