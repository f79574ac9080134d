// Where a mask's outlines lie in the picture: "fit", "scale", "rotate", "position", "anchor".
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "stage/scene/json_place.h"
#include "stage/scene/scene.h"
#include "stage/scene/svg_transform.h"

namespace orvandel::stage {

struct Fit {
  enum class Mode { kAutomatic, kNone, kContain, kCover };
  Mode mode = Mode::kAutomatic;  // not given: centred where the drawing lies outside or is tiny
  std::optional<SvgBox> box;     // the whole picture when missing
};

struct Placement {
  Fit fit;
  PointValue scale{1, 1};
  double degrees = 0;
  std::optional<PointValue> position;  // of the box's middle
  bool anchoredToOutline = false;      // its box's middle onto the layer's, from where masks grow
};

Placement ReadPlacement(const JsonPlace& mask);

// The picture that a mask is placed in.
struct PictureSize {
  std::int32_t width = 0, height = 0;
};

// Moves all paths of all keys in the same way. The box is that of `measured`; `fromDrawing`: their numbers were not
// written for this picture. Returns a note, empty where nothing was chosen for the person.
std::string PlaceMask(const Placement& placement, const PictureSize& picture, bool fromDrawing,
                      const std::vector<const MaskPath*>& measured, const std::vector<MaskPath*>& moved);

}  // namespace orvandel::stage
