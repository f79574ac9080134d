#include "stage/render/motion_blur.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

#include "stage/picture/linear_light.h"

namespace orvandel::stage {
namespace {

constexpr double kFullTurn = 360;
constexpr double kLinearOne = 1 << 24;  // linear light in whole numbers, finer than 16 bits of the curve at its foot

// Both ways of the curve as tables of whole numbers, so that sums and results are the same everywhere.
class Curve {
 public:
  Curve() {
    for (std::size_t i = 0; i < linear_.size(); ++i) linear_[i] = Rounded(LinearLight(static_cast<double>(i) / 255));
    for (std::size_t i = 1; i < from_.size(); ++i)
      from_[i] = Rounded(LinearLight((static_cast<double>(i) - 0.5) / 65535));
    std::uint16_t word = 0;
    for (std::size_t i = 0; i < coarse_.size(); ++i)
      coarse_[i] = word = Climb(word, static_cast<std::uint32_t>(i << 8));
  }

  std::uint32_t Linear(std::uint8_t stored) const { return linear_[stored]; }
  // The 16-bit value on the curve nearest to `linear`, at most 2^24.
  std::uint16_t Stored(std::uint32_t linear) const { return Climb(coarse_[linear >> 8], linear); }

 private:
  static std::uint32_t Rounded(double unit) { return static_cast<std::uint32_t>(std::floor(unit * kLinearOne + 0.5)); }

  std::uint16_t Climb(std::uint16_t word, std::uint32_t linear) const {
    while (word < 65535 && from_[word + std::size_t{1}] <= linear) ++word;
    return word;
  }

  std::array<std::uint32_t, 256> linear_{};
  std::array<std::uint32_t, 65536> from_{};            // where each 16-bit value begins
  std::array<std::uint16_t, (1 << 16) + 1> coarse_{};  // the value at every 256th step of linear light
};

const Curve& TheCurve() {
  static const Curve curve;
  return curve;
}

}  // namespace

std::vector<std::int32_t> SampleTimes(const MotionBlur& blur, const Timebase& time, std::int32_t frame) {
  const std::int32_t frameTime = time.TimeOfFrame(frame);
  if (blur.samples == 1) return {frameTime};
  constexpr double kLatest = std::numeric_limits<std::int32_t>::max() - 1;  // look-ups go one unit further
  std::vector<std::int32_t> times;
  for (std::int32_t i = 0; i < blur.samples; ++i) {
    const double turn = (blur.phase + blur.shutter * i / blur.samples) / kFullTurn;
    const double hostTime = std::floor(frameTime + time.timeStep * turn + 0.5);
    times.push_back(static_cast<std::int32_t>(std::clamp(hostTime, 0.0, kLatest)));
  }
  return times;
}

LightMean::LightMean(std::int32_t width, std::int32_t height)
    : width_(width), height_(height), sums_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

void LightMean::Add(const Picture& picture) {
  const Curve& curve = TheCurve();
  ++pictures_;
  const std::uint8_t* pixel = picture.bytes.data();
  for (Sum& sum : sums_) {
    const std::uint32_t alpha = pixel[0];
    if (alpha != 0) {
      if (sum.alpha == 0) {
        std::copy_n(pixel + 1, 3, sum.first);
      } else {
        sum.sameColor = sum.sameColor && std::equal(pixel + 1, pixel + 4, sum.first);
      }
      sum.alpha += alpha;
      for (int i = 0; i < 3; ++i) sum.light[i] += std::uint64_t{alpha} * curve.Linear(pixel[1 + i]);
    }
    pixel += 4;
  }
}

Picture16 LightMean::Result() const {
  const Curve& curve = TheCurve();
  Picture16 picture(width_, height_);
  std::uint16_t* pixel = picture.words.data();
  const std::uint32_t fullAlpha = 255 * pictures_;
  for (const Sum& sum : sums_) {
    if (sum.alpha != 0) {
      pixel[0] = static_cast<std::uint16_t>((std::uint64_t{sum.alpha} * 65535 + fullAlpha / 2) / fullAlpha);
      for (int i = 0; i < 3; ++i) {
        const auto mean = static_cast<std::uint32_t>((sum.light[i] + sum.alpha / 2) / sum.alpha);
        pixel[1 + i] = sum.sameColor ? SixteenBits(sum.first[i]) : curve.Stored(mean);
      }
    }
    pixel += 4;
  }
  return picture;
}

}  // namespace orvandel::stage
