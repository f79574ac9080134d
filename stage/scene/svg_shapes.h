// Basic shapes of SVG as path texts.
#pragma once

#include <string>

#include <pugixml.hpp>

#include "stage/scene/svg_number.h"

namespace orvandel::stage {

// The path text of a path, rect, circle, ellipse, line, polyline or polygon; empty when it draws nothing, as for all
// other elements. Percentages refer to `viewport`.
std::string SvgPathTextOf(pugi::xml_node shape, const SvgViewport& viewport);

}  // namespace orvandel::stage
