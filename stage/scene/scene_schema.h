// The scene file as a JSON Schema (draft 07, which editors complete and check by), made from the effect's own
// parameters: their names, ranges, defaults and popup items are written down nowhere else.
//
// It covers what a schema can express: keys, types, ranges, the forms of a value. What depends on other values (names
// of layers and masks, ascending times, digits of a rate, files, paths, expressions) is left to the reader.
#pragma once

#include <string>

#include "stage/scene/param_catalog.h"

namespace orvandel::stage {

// Indented text, ending in a line break.
std::string SceneSchema(const ParamCatalog& catalog);

}  // namespace orvandel::stage
