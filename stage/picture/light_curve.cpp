#include "stage/picture/light_curve.h"

#include <cmath>

#include "stage/picture/linear_light.h"

namespace orvandel::stage {
namespace {

constexpr std::size_t kWords = 65536;

std::uint32_t LightOf(double stored) {
  return static_cast<std::uint32_t>(std::floor(LinearLight(stored / 65535) * kFullLight + 0.5));
}

}  // namespace

LightCurve::LightCurve()
    : light_(kWords), from_(kWords), coarse_((kFullLight >> 8) + std::size_t{1}), fine_(kDark >> 4) {
  for (std::size_t i = 0; i < kWords; ++i) light_[i] = LightOf(static_cast<double>(i));
  for (std::size_t i = 1; i < kWords; ++i) from_[i] = LightOf(static_cast<double>(i) - 0.5);
  const auto fill = [&](std::vector<std::uint16_t>& steps, int shift) {
    std::uint16_t word = 0;
    for (std::size_t i = 0; i < steps.size(); ++i)
      steps[i] = word = Climb(word, static_cast<std::uint32_t>(i << shift));
  };
  fill(coarse_, 8);
  fill(fine_, 4);
}

const LightCurve& LightCurve::The() {
  static const LightCurve curve;
  return curve;
}

}  // namespace orvandel::stage
