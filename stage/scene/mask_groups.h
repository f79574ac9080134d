// Masks of several outlines: the effect takes one path, so every further outline is drawn by an emitter of its own.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

struct MaskGroup {
  std::size_t mask = 0;           // place among the scene's masks, from 1
  std::vector<MaskPath> further;  // the outlines that follow that mask's own
  bool asked = false;             // the scene asked for all
  std::string where;              // the mask's place in the scene, for notes and complaints
};

// Adds the further outlines as masks without a name in the scene, and behind every emitter that shows such a mask all
// the time one for each of them. A wave's outline is as large as its farthest point is from the layer's middle, so each
// grows by its part of the longest such distance: the outlines keep their places relative to one another. An emitter
// whose mask or wave type changes shows the largest outline alone, which a note says. Throws InputError where all were
// asked for and are more than a scene can have.
void DrawMaskGroups(std::vector<MaskGroup> groups, const ParamCatalog& catalog, Scene& scene);

}  // namespace orvandel::stage
