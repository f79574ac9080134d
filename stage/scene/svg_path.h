// The path text of SVG to cubic segments.
//
// All commands, absolute and relative: M L H V C S Q T A Z. Every segment becomes a cubic: a line has its controls at
// its thirds, a quadratic is raised, an arc becomes cubics of at most a quarter turn. Z closes the path and adds a line
// when the end is not the start. A mask's path has exactly one sub-path with at least one segment, and anything outside
// the grammar is refused. A drawing's paths are read as drawing programs show them: all sub-paths, up to a mistake.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "stage/scene/scene.h"

namespace orvandel::stage {

constexpr std::size_t kMaxSegments = 10000;
// Coordinates, controls included, lie within this many pixels of the origin: a cubic is at most as long as its control
// polygon, here 8.5e6 pixels, and the effect gives up on segments above 1e7.
constexpr double kMaxMaskCoordinate = 1e6;
constexpr double kMaxDrawingCoordinate = 1e12;  // before a drawing's transforms, which may bring it anywhere

struct SvgPath {
  MaskPath path;
  // One letter per command as it was drawn, upper case whether absolute or relative, repetitions written out: "MLLCZ".
  std::string commands;
};

// Throws InputError, without file or place: "at character 8 (\",2\"): a number is missing".
SvgPath ParseSvgPath(std::string_view text);

struct SvgSubPaths {
  std::vector<MaskPath> paths;  // those with a segment
  std::string complaint;        // of what was not understood, as ParseSvgPath words it; empty: nothing
};

// All sub-paths, up to the first mistake or the first segment beyond `mostSegments`.
SvgSubPaths ParseSvgSubPaths(std::string_view text, std::size_t mostSegments);

}  // namespace orvandel::stage
