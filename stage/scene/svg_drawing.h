// The outlines that an SVG file draws.
//
// Shapes, groups, `use`, nested drawings and transforms are followed; one unit of the outermost drawing is one pixel,
// whatever its viewBox says. Text, pictures and filters are not read. Elements, segments and processed characters are
// bounded, and what `use` repeats counts each time, so that a small file cannot expand without limit.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "stage/scene/scene.h"
#include "stage/scene/svg_file.h"

namespace orvandel::stage {

constexpr std::size_t kMaxDrawnSegments = 500000;
constexpr std::size_t kMaxDrawnCharacters = std::size_t{64} << 20;

struct SvgOutline {
  MaskPath path;
  bool filled = false;  // or only stroked
  bool seen = true;     // not hidden, and filled or stroked
};

struct SvgDrawing {
  std::vector<SvgOutline> outlines;  // one for each sub-path, in the order of drawing
  int texts = 0, images = 0;         // seen, but not read
  std::string complaint;             // the first thing that was not understood; empty: none
};

// Reads the element with the id and those inside it; `id` empty: the whole file. The InputError that it throws starts
// with the file's name.
SvgDrawing DrawSvg(const SvgFile& file, const std::string& id);

}  // namespace orvandel::stage
