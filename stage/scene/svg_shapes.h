// Basic shapes of SVG as path texts.
#pragma once

#include <string>

#include <pugixml.hpp>

#include "stage/scene/svg_number.h"

namespace orvandel::stage {

// path, rect, circle, ellipse, line, polyline, polygon: the path that it draws, empty for nothing. Other elements draw
// nothing. Lengths in % are of `viewport`.
std::string SvgPathTextOf(pugi::xml_node shape, const SvgViewport& viewport);

}  // namespace orvandel::stage
