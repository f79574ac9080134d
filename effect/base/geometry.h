// Points and outlines, each of the space it lies in. x runs to the right, y downward.
//
// Two floats do not say which unit they are in, so every space is a type: points of different spaces cannot be
// assigned, compared or mixed, and every conversion is a named function.
//
//   host point ---- ReadProducerPoint, ReadSourceCenter ----> FractionPoint
//   FractionPoint ---- PixelsOf ----> LayerPoint, PicturePoint
//   PictureOutline ---- MoveToUnitFrame ----> UnitOutline ---- PlaceOutline ----> PlacedOutline
//   PlacedPoint ---- StrokeTransform ----> SubsamplePoint
//
// docs/spaces_and_units.md describes them.
#pragma once

#include <cstdint>

#include "effect/base/heap_containers.h"

namespace orvandel {

namespace space {
struct Fractions;   // 0..1 of a width and a height: the same at every size
struct Layer;       // pixels of the full-size layer, from its top left
struct Picture;     // pixels of a picture as the host hands it over, from its top left
struct UnitFrame;   // centre at (0, 0), farthest point at distance 1
struct Placed;      // pixels of the full-size layer, from a wave's origin
struct Subsamples;  // 1/q of an output pixel, from the output's top left (q: the render quality)
}  // namespace space

// A position, or the vector from one position to another.
template <typename Space>
struct Point {
  float x = 0;
  float y = 0;
  bool operator==(const Point&) const = default;
};

// An ordered sequence of points, closed implicitly (the last point joins the first). Curves are flattened when an
// outline is made. Rebuilding clears the points and keeps the storage. Empty: draws nothing.
template <typename Space>
using OutlineIn = HeapVector<Point<Space>>;

using FractionPoint = Point<space::Fractions>;
using LayerPoint = Point<space::Layer>;
using PicturePoint = Point<space::Picture>;
using UnitPoint = Point<space::UnitFrame>;
using PlacedPoint = Point<space::Placed>;
using SubsamplePoint = Point<space::Subsamples>;

using PictureOutline = OutlineIn<space::Picture>;
using UnitOutline = OutlineIn<space::UnitFrame>;
using PlacedOutline = OutlineIn<space::Placed>;
using SubsampleOutline = OutlineIn<space::Subsamples>;

// Distance per second.
template <typename Space>
struct Velocity {
  float x = 0;
  float y = 0;
  bool operator==(const Velocity&) const = default;
};

template <typename Space>
void Move(Point<Space>& point, const Velocity<Space>& velocity, float seconds) {
  point.x += seconds * velocity.x;
  point.y += seconds * velocity.y;
}

// The position of a fraction in an area of `width` x `height` pixels.
template <typename Space>
Point<Space> PixelsOf(FractionPoint fraction, std::int32_t width, std::int32_t height) {
  return {fraction.x * static_cast<float>(width), fraction.y * static_cast<float>(height)};
}

// 256 rounded corners at the largest size stay below this. More points come only from values out of range or from a
// path longer than any picture, and would keep the host waiting long between two abort checks.
inline constexpr std::size_t kMostOutlinePoints = std::size_t{1} << 24;

template <typename Space>
void RefuseTooManyPoints(const HeapVector<Point<Space>>& outline) {
  if (outline.size() > kMostOutlinePoints) throw AllocFailed::ForBytes(outline.size() * sizeof(Point<Space>));
}

}  // namespace orvandel
