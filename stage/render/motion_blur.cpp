#include "stage/render/motion_blur.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "stage/picture/light_curve.h"

namespace orvandel::stage {
namespace {

constexpr double kFullTurn = 360;

}  // namespace

std::vector<std::int32_t> SampleTimes(const MotionBlur& blur, const Timebase& time, std::int32_t hostTime) {
  if (blur.samples == 1) return {hostTime};
  constexpr double kLatest = std::numeric_limits<std::int32_t>::max() - 1;  // look-ups go one unit further
  std::vector<std::int32_t> times;
  for (std::int32_t i = 0; i < blur.samples; ++i) {
    const double turn = (blur.phase + blur.shutter * i / blur.samples) / kFullTurn;
    const double sample = std::floor(hostTime + time.timeStep * turn + 0.5);
    times.push_back(static_cast<std::int32_t>(std::clamp(sample, 0.0, kLatest)));
  }
  return times;
}

LightMean::LightMean(std::int32_t width, std::int32_t height)
    : width_(width), height_(height), sums_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

void LightMean::Add(const Picture16& picture) {
  const LightCurve& curve = LightCurve::The();
  ++pictures_;
  const std::uint16_t* pixel = picture.words.data();
  for (Sum& sum : sums_) {
    const std::uint32_t alpha = pixel[0];
    if (alpha != 0) {
      if (sum.alpha == 0) {
        std::copy_n(pixel + 1, 3, sum.first);
      } else {
        sum.sameColor = sum.sameColor && std::equal(pixel + 1, pixel + 4, sum.first);
      }
      sum.alpha += alpha;
      for (int i = 0; i < 3; ++i) sum.light[i] += std::uint64_t{alpha} * curve.Light(pixel[1 + i]);
    }
    pixel += 4;
  }
}

Picture16 LightMean::Result() const {
  const LightCurve& curve = LightCurve::The();
  Picture16 picture(width_, height_);
  std::uint16_t* pixel = picture.words.data();
  for (const Sum& sum : sums_) {
    if (sum.alpha != 0) {
      pixel[0] = static_cast<std::uint16_t>((sum.alpha + pictures_ / 2) / pictures_);
      for (int i = 0; i < 3; ++i) {
        const auto mean = static_cast<std::uint32_t>((sum.light[i] + sum.alpha / 2) / sum.alpha);
        pixel[1 + i] = sum.sameColor ? sum.first[i] : curve.Stored(mean);
      }
    }
    pixel += 4;
  }
  return picture;
}

}  // namespace orvandel::stage
