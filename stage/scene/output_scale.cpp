#include "stage/scene/output_scale.h"

#include <algorithm>
#include <cstdlib>

namespace orvandel::stage {
namespace {

std::int32_t RoundedUp(std::int32_t side, std::int32_t k) { return side / k + (side % k != 0 ? 1 : 0); }

double Quotient(const Rational& ratio) { return static_cast<double>(ratio.num) / static_cast<double>(ratio.den); }

// numerator / denominator to the nearest whole number, at least 1.
std::int32_t NearestRatio(std::int64_t numerator, std::int64_t denominator) {
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>((2 * numerator + denominator) / (2 * denominator), 1, 1 << 30));
}

}  // namespace

OutputScale OutputScale::Downsampled(const Scene& scene, std::int32_t k) {
  return {RoundedUp(scene.width, k), RoundedUp(scene.height, k), scene.width, scene.height, {1, k}, {1, k}};
}

OutputScale OutputScale::FittedTo(const Scene& scene, std::int32_t width, std::int32_t height) {
  const std::int32_t k = NearestRatio(scene.height, height);
  OutputScale scale = Downsampled(scene, k);
  if (scale.width == width && scale.height == height) return scale;
  scale.width = width;
  scale.height = height;
  // As wide as the scene, if that is what the picture is to within one of its pixels.
  const std::int32_t fullWidth = NearestRatio(std::int64_t{scene.width} * height, scene.height);
  if (std::abs(fullWidth - width) > 1) {
    scale.layerWidth = NearestRatio(std::int64_t{width} * scene.height, height);
    scale.shift = (scale.layerWidth - scene.width) / 2.0;
  }
  scale.x = Reduced({width, scale.layerWidth});
  scale.y = Reduced({height, scale.layerHeight});
  return scale;
}

std::int32_t OutputScale::Blocks() const {
  return shift == 0 && x == y && x.num == 1 ? static_cast<std::int32_t>(x.den) : 0;
}

PixelMap OutputScale::Map() const { return {Quotient(x), Quotient(y), shift}; }

}  // namespace orvandel::stage
