// Where the effect's picture lies: from a host's canonical plane (square pixels, full size, y upward) to the effect's
// layer (its own pixels, full size, y downward from the top left) and to the pixels of a render.
#pragma once

#include <cstdint>

#include "plugins/openfx/abi/core.h"
#include "stage/scene/scene.h"

namespace orvandel::ofx {

// The layer that waves are drawn on, in the canonical plane.
struct Stage {
  OfxRectD rect{};
  double pixelAspect = 1;
};

// A render of it.
struct FrameGrid {
  std::int32_t layerWidth = 0, layerHeight = 0;
  stage::Rational scaleX{1, 1}, scaleY{1, 1}, pixelAspect{1, 1};
  OfxRectI pixels{};  // the picture's, in the host's pixels at that scale

  std::int32_t Width() const { return pixels.x2 - pixels.x1; }
  std::int32_t Height() const { return pixels.y2 - pixels.y1; }
  bool operator==(const FrameGrid& other) const;
};

// Throws InputError for a picture that is larger than the effect can be asked for.
FrameGrid GridOf(const Stage& stage, OfxPointD scale);

stage::PointValue LayerPoint(const Stage& stage, const FrameGrid& grid, OfxPointD canonical);

inline bool HasArea(const OfxRectD& rect) { return rect.x2 > rect.x1 && rect.y2 > rect.y1; }
OfxRectD Union(const OfxRectD& a, const OfxRectD& b);
OfxRectI Intersection(const OfxRectI& a, const OfxRectI& b);

// The ratio with the smallest terms within `tolerance` of a positive number.
stage::Rational SimplestRatio(double value, double tolerance);

}  // namespace orvandel::ofx
