// All that a stroke is drawn with beside its outline.
#pragma once

#include <cstdint>

#include "effect/render/profile_table.h"
#include "effect/render/stroke_edges.h"

namespace orvandel {

struct StrokeLook {
  float width;  // layer pixels
  StrokeTransform transform;
  std::int32_t quality;
  OrvPixel color;
  const ProfileTable* table;
  bool reflection;
};

}  // namespace orvandel
