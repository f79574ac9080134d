// A mask's path at a time, and the length queries the effect puts to it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "stage/scene/keyframes.h"
#include "stage/scene/output_scale.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// Which path a mask has at a host time; equal spans mean equal paths. A path that is held is looked up one unit later,
// as layers are; points between two keys are those of the time itself.
KeySpan MaskSpanAt(const Mask& mask, std::int32_t hostTime, std::int32_t timeScale);

// The path of a span, in pixels of the output.
MaskPath PathOf(const Mask& mask, KeySpan span, const PixelMap& map);

// Arc length along one segment, measured on the chords between points at `resolution` equal parameter steps.
class LengthQuery {
 public:
  LengthQuery(const Cubic& segment, std::int32_t resolution);  // resolution >= 1

  double Length() const { return lengths_.back(); }
  // The point `distance` along: on the first chord whose end is at or beyond it; beyond the end, the end point.
  PointValue PointAt(double distance) const;

 private:
  std::vector<PointValue> points_;  // resolution + 1
  std::vector<double> lengths_;     // from the start to each point
};

}  // namespace orvandel::stage
