// How large a scene is drawn, and what of the layer is seen.
//
// The effect draws for a full-size layer and scales what it draws by two ratios, so a size is three things: the layer,
// the ratios and the output's pixels.
#pragma once

#include <cstdint>

#include "stage/scene/scene.h"

namespace orvandel::stage {

// From the scene's full-size pixels to pixels of the output.
struct PixelMap {
  double x = 1, y = 1;  // output pixels for each full-size one
  double shift = 0;     // full-size pixels: where the scene's left edge lies in the layer

  PixelMap() = default;
  PixelMap(double factor) : x(factor), y(factor) {}  // NOLINT(google-explicit-constructor): the same both ways
  PixelMap(double xFactor, double yFactor, double shiftX) : x(xFactor), y(yFactor), shift(shiftX) {}
  PointValue Of(const PointValue& point) const { return {(point.x + shift) * x, point.y * y}; }
};

struct OutputScale {
  std::int32_t width = 0, height = 0;            // of the output
  std::int32_t layerWidth = 0, layerHeight = 0;  // the full-size layer, as reported to the effect
  Rational x{1, 1}, y{1, 1};                     // output pixels for each of the layer's
  double shift = 0;                              // as in PixelMap

  // 1/k of the scene's size, rounded up.
  static OutputScale Downsampled(const Scene& scene, std::int32_t k);
  // The same look in a picture of any size: scaled by the picture's height, the scene's middle in the picture's middle.
  // Where the picture has another shape, the layer is wider or narrower than the scene, to the nearest pixel, and the
  // horizontal ratio absorbs the rest. For a size that Downsampled gives, the result is the same as Downsampled's.
  static OutputScale FittedTo(const Scene& scene, std::int32_t width, std::int32_t height);

  // k when it is 1/k of the scene; 0 otherwise.
  std::int32_t Blocks() const;
  PixelMap Map() const;
  bool operator==(const OutputScale&) const = default;
};

}  // namespace orvandel::stage
