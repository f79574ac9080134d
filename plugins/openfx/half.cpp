#include "plugins/openfx/half.h"

#include <cmath>
#include <cstring>

namespace orvandel::ofx {
namespace {

constexpr std::uint32_t kSign = 0x8000, kInfinity = 0x7C00, kQuiet = 0x7E00, kFraction = 0x3FF;
constexpr int kFractionBits = 10, kBias = 15, kSmallest = -24;  // 2^-24 is the smallest step

}  // namespace

float FloatOfHalf(std::uint16_t half) {
  const auto exponent = static_cast<int>((half & kInfinity) >> kFractionBits);
  const auto fraction = static_cast<float>(half & kFraction);
  float size = 0;
  if (exponent == 31) {
    size = fraction == 0 ? HUGE_VALF : NAN;
  } else if (exponent == 0) {
    size = std::ldexp(fraction, kSmallest);
  } else {
    size = std::ldexp(fraction + (kFraction + 1), exponent - kBias - kFractionBits);
  }
  return (half & kSign) != 0 ? -size : size;
}

std::uint16_t HalfOfFloat(float value) {
  const std::uint32_t sign = std::signbit(value) ? kSign : 0;
  const float size = std::fabs(value);
  if (std::isnan(value)) return static_cast<std::uint16_t>(sign | kQuiet);
  if (size >= 65520) return static_cast<std::uint16_t>(sign | kInfinity);  // half a step above the largest
  int exponent = 0;
  std::frexp(size, &exponent);
  // The step of the half that is nearest below: 2^-24 among the smallest.
  const int step = size == 0 || exponent - 1 < -14 ? kSmallest : exponent - 1 - kFractionBits;
  const auto steps = static_cast<std::uint32_t>(std::nearbyint(std::ldexp(size, -step)));
  // Whole steps count on through the exponents, so that a carry is right by itself.
  const std::uint32_t base = step == kSmallest ? 0 : static_cast<std::uint32_t>(step + 24) << kFractionBits;
  return static_cast<std::uint16_t>(sign | (base + steps));
}

}  // namespace orvandel::ofx
