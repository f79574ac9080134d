#include "tests/faults/variant.h"

#include <algorithm>
#include <cstring>

#include "effect/params/param_ids.h"

namespace orvandel::test {
namespace {

// A disc of full alpha with a hole, on a transparent picture.
FencedImage Ring(std::int32_t width, std::int32_t height) {
  FencedImage image(width, height, 0, 8);
  for (std::int32_t y = 0; y < height; ++y) {
    for (std::int32_t x = 0; x < width; ++x) {
      const std::int32_t dx = 2 * x - width, dy = 2 * y - height;
      const std::int32_t squared = dx * dx + dy * dy;
      if (squared < height * height && squared > height * height / 6) std::memset(image.Pixel(x, y), 230, 4);
    }
  }
  return image;
}

void ApplyShape(FakeHost& host, Shape shape) {
  host.SetWord(kWaveType, shape == Shape::kMask ? kMaskWave : shape == Shape::kContour ? kContourWave : kPolygonWave);
  host.SetWord(kSides, 5);
  if (shape == Shape::kRoundedStar) {
    host.SetWord(kStar, 1);
    host.SetFixed(kStarDepth, -0.4);
    host.SetFixed(kCurveSize, 0.7);
    host.SetFixed(kCurvyness, 0.5);
  }
  if (shape == Shape::kContour) {
    host.SetFixed(kPreBlur, 2.5);  // up to 1 nothing is blurred
    host.SetFixed(kTolerance, 0.4);
  }
}

}  // namespace

std::string Variant::Name() const {
  constexpr const char* kShapes[] = {"Polygon", "RoundedStar", "Mask", "Contour"};
  return std::string(kShapes[static_cast<int>(shape)]) + (supersampled ? "Quality4" : "Quality1") +
         (reflection ? "Reflected" : "Cut") + (eachFrame ? "EachFrame" : "Birth");
}

std::vector<Variant> AllVariants() {
  std::vector<Variant> all;
  for (const Shape shape : {Shape::kPolygon, Shape::kRoundedStar, Shape::kMask, Shape::kContour}) {
    for (unsigned bits = 0; bits < 8; ++bits) all.push_back({shape, (bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0});
  }
  return all;
}

void Furnish(FakeHost& host) {
  host.duration = host.timeScale * 2 / 3;  // 20 ticks
  host.input = Ring(kSweepWidth, kSweepHeight);
  // The second is larger than the output: its values need storage of their own.
  host.layers = {Ring(18, 12), Ring(30, 20)};
  host.masks = {{{{4, 3}, {20, 4}, {19, 13}, {12, 8}, {5, 12}}}, {{{2, 2}, {12, 3}, {7, 14}}}};
}

void Apply(FakeHost& host, const Variant& variant) {
  host.ClearValues();
  host.sourceLayer = variant.supersampled ? 2 : 1;
  host.SetWord(kSetAt, variant.eachFrame ? 2 : 1);
  host.SetWord(kRenderQuality, variant.supersampled ? 4 : 1);
  host.SetWord(kReflection, variant.reflection ? 1 : 0);
  host.SetFixed(kFrequency, 14);
  host.SetFixed(kLifespan, 0.3);
  host.SetFixed(kFadeOutTime, 0.1);
  host.SetFixed(kVelocity, 20);
  host.SetFixed(kSpin, 70);
  host.SetFixed(kStartWidth, 2);
  host.SetFixed(kEndWidth, 4);
  host.SetWord(kProfile, 5);
  host.SetValue(kExpansion, [&host](std::int32_t time, OrvParamDef& d) {
    d.value.fixed.value = 65536 + std::min(time / (host.timeScale / 10), 1000) * 20000;  // a step every three ticks
  });
  host.SetValue(kProducerPoint, [](std::int32_t time, OrvParamDef& d) {
    d.value.point.x = 65536 * 10 + time * 13;
    d.value.point.y = 65536 * 8;
  });
  ApplyShape(host, variant.shape);
}

}  // namespace orvandel::test
