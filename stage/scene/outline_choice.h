// Which outlines of a drawing a mask takes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "stage/scene/scene.h"
#include "stage/scene/svg_drawing.h"

namespace orvandel::stage {

// What a mask takes of a drawing when its scene does not say: with more outlines a drawing is a picture rather than a
// shape, and every outline costs an effect.
constexpr std::size_t kUsualOutlines = 16;

struct OutlineChoice {
  enum class Kind { kUsual, kNumber, kLargest, kAll };
  Kind kind = Kind::kUsual;
  std::size_t number = 0;  // of the closed outlines, from 1, in the order of drawing
  bool close = false;      // open ones too
};

struct ChosenOutlines {
  std::vector<MaskPath> paths;  // at least one; the largest first, then the others in the order of drawing
  std::string note;             // what was chosen among what; empty: there was nothing to choose
};

// Closes an open path, with a line where its ends are apart.
void ClosePath(MaskPath& path);

// `drawing` has an outline at least. `name` is the drawing's, for the note. Throws InputError without a place.
ChosenOutlines ChooseOutlines(SvgDrawing drawing, const OutlineChoice& choice, std::string_view name);

}  // namespace orvandel::stage
