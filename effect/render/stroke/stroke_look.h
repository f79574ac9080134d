// All that stroking needs apart from the outline, and the space that a stroke is drawn in.
#pragma once

#include <cstdint>

#include "effect/base/geometry.h"
#include "effect/host/image_buffer.h"
#include "effect/render/stroke/profile_table.h"

namespace orvandel {

// Outline and offset points further away than this (in subsamples) are refused or drawn nearer, so that columns and
// rows fit 32-bit integers with room to spare.
inline constexpr float kFarthestSubsample = 67108864.0F;  // 2^26

// From a wave's placed outline to the output.
struct StrokeTransform {
  float offsetX, offsetY, scaleX, scaleY;

  SubsamplePoint Apply(PlacedPoint p) const { return {scaleX * p.x + offsetX, scaleY * p.y + offsetY}; }
};

struct StrokeLook {
  float width;  // layer pixels
  StrokeTransform transform;
  std::int32_t quality;  // subsamples per output pixel in both directions
  OrvPixel color;        // alpha comes from the table
  const ProfileTable* table;
  bool reflection;
};

// In subsamples, all four inclusive.
struct StrokeBounds {
  std::int32_t xMin = 0, yMin = 0, xMax = 0, yMax = 0;

  bool IsEmpty() const { return xMin >= xMax || yMin >= yMax; }
};

// Without reflection nothing beyond the output is scanned. Rows above it stay in the range, because the edges have to
// be stepped through them.
void ClipBounds(StrokeBounds& bounds, const ImageBuffer& output, std::int32_t quality);

}  // namespace orvandel
