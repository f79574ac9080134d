#include "plugins/openfx/geometry.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "stage/base/errors.h"
#include "stage/scene/scene_limits.h"

namespace orvandel::ofx {
namespace {

// Hosts round pixel aspects to a few digits, so that 768 / 1.0667 is to be 720.
constexpr double kAspectTolerance = 1e-4, kScaleTolerance = 1e-6, kSnap = 0.05;

std::int32_t Checked(double pixels) {
  if (!(pixels >= -1e6 && pixels <= 1e6)) throw stage::InputError("the picture lies too far out");
  return static_cast<std::int32_t>(pixels);
}

std::int32_t Floored(double pixels) {
  const double near = std::round(pixels);
  return Checked(std::fabs(pixels - near) < kSnap ? near : std::floor(pixels));
}
std::int32_t Raised(double pixels) {
  const double near = std::round(pixels);
  return Checked(std::fabs(pixels - near) < kSnap ? near : std::ceil(pixels));
}

// The effect truncates a place to 1/65536 of a pixel: one that is such a step but for the rounding of its way through
// square pixels is that step.
double OnStep(double pixel) {
  constexpr double kSteps = 65536, kRounding = 1e-9;
  const double step = std::round(pixel * kSteps) / kSteps;
  return std::fabs(pixel - step) < kRounding ? step : pixel;
}

std::int32_t Side(double pixels) { return Checked(std::max(1.0, std::round(pixels))); }

}  // namespace

bool FrameGrid::operator==(const FrameGrid& other) const {
  const auto all = [](const FrameGrid& grid) {
    return std::tie(grid.layerWidth, grid.layerHeight, grid.scaleX.num, grid.scaleX.den, grid.scaleY.num,
                    grid.scaleY.den, grid.pixelAspect.num, grid.pixelAspect.den, grid.pixels.x1, grid.pixels.y1,
                    grid.pixels.x2, grid.pixels.y2);
  };
  return all(*this) == all(other);
}

FrameGrid GridOf(const Stage& stage, OfxPointD scale) {
  const double perPixel = scale.x / stage.pixelAspect;
  FrameGrid grid;
  grid.layerWidth = Side((stage.rect.x2 - stage.rect.x1) / stage.pixelAspect);
  grid.layerHeight = Side(stage.rect.y2 - stage.rect.y1);
  grid.scaleX = SimplestRatio(scale.x, kScaleTolerance);
  grid.scaleY = SimplestRatio(scale.y, kScaleTolerance);
  grid.pixelAspect = SimplestRatio(stage.pixelAspect, kAspectTolerance);
  grid.pixels = {Floored(stage.rect.x1 * perPixel), Floored(stage.rect.y1 * scale.y), Raised(stage.rect.x2 * perPixel),
                 Raised(stage.rect.y2 * scale.y)};
  grid.pixels.x2 = std::max(grid.pixels.x2, grid.pixels.x1 + 1);
  grid.pixels.y2 = std::max(grid.pixels.y2, grid.pixels.y1 + 1);
  if (std::max({grid.layerWidth, grid.layerHeight, grid.Width(), grid.Height()}) > stage::kMaxLayerSide) {
    throw stage::InputError("a side of the picture is longer than 30000 pixels");
  }
  return grid;
}

// A side that is whole pixels is not divided by itself and multiplied again, which would cost a last bit.
stage::PointValue LayerPoint(const Stage& stage, const FrameGrid& grid, OfxPointD canonical) {
  const auto along = [](double from, double side, std::int32_t pixels) {
    return side == pixels ? from : OnStep(from * pixels / side);
  };
  return {along(canonical.x - stage.rect.x1, stage.rect.x2 - stage.rect.x1, grid.layerWidth),
          along(stage.rect.y2 - canonical.y, stage.rect.y2 - stage.rect.y1, grid.layerHeight)};
}

OfxRectD Union(const OfxRectD& a, const OfxRectD& b) {
  if (!HasArea(a)) return b;
  if (!HasArea(b)) return a;
  return {std::min(a.x1, b.x1), std::min(a.y1, b.y1), std::max(a.x2, b.x2), std::max(a.y2, b.y2)};
}

OfxRectI Intersection(const OfxRectI& a, const OfxRectI& b) {
  return {std::max(a.x1, b.x1), std::max(a.y1, b.y1), std::min(a.x2, b.x2), std::min(a.y2, b.y2)};
}

// The walk down the tree of ratios: the first that lies within the tolerance has the smallest terms.
stage::Rational SimplestRatio(double value, double tolerance) {
  constexpr std::int64_t kMostTerm = 65535;
  const double whole = std::floor(value);
  std::int64_t lowNum = 0, lowDen = 1, highNum = 1, highDen = 0;
  if (whole >= 1 && whole < kMostTerm) {  // a long way in one step
    lowNum = static_cast<std::int64_t>(whole);
    if (std::fabs(value - whole) <= tolerance) return {lowNum, 1};
  }
  stage::Rational best{std::max<std::int64_t>(1, std::llround(std::min(value, double{kMostTerm}))), 1};
  for (int step = 0; step < 100000; ++step) {
    const std::int64_t num = lowNum + highNum, den = lowDen + highDen;
    if (num > kMostTerm || den > kMostTerm) break;
    best = {num, den};
    const double ratio = static_cast<double>(num) / static_cast<double>(den);
    if (std::fabs(ratio - value) <= tolerance) break;
    (ratio < value ? lowNum : highNum) = num;
    (ratio < value ? lowDen : highDen) = den;
  }
  return best;
}

}  // namespace orvandel::ofx
