// The seven profiles: a curve each, times the wave's opacity.
//
// The position along a curve is accumulated, one single-precision addition per entry, and its rounding is part of the
// picture: a sawtooth ends at 254, not at 255.

#include "effect/render/stroke/profile_table.h"

#include "effect/base/float_rules.h"

namespace orvandel {
namespace {

using Curve = std::array<float, kProfileEntries>;

// Entry k is curve(x_k), where x_0 = `start` and x_(k+1) = x_k + `step`.
template <typename Function>
Curve Accumulated(float start, float step, Function function) {
  Curve curve;
  float x = start;
  for (float& entry : curve) {
    entry = function(x);
    x += step;
  }
  return curve;
}

// Rises over entries 0 to 249 and falls over 251 to 500; 251 is as full as 250, so the two sides differ by one entry.
Curve Triangle() {
  constexpr std::int32_t kPeak = 250;
  Curve curve;
  for (std::int32_t k = 0; k < kProfileEntries; ++k) {
    const std::int32_t rise = k <= kPeak ? k : kProfileEntries - k;
    curve[static_cast<std::size_t>(k)] = static_cast<float>(rise) / 250.0F;
  }
  return curve;
}

Curve Bell(float sharpness) {
  return Accumulated(-1.0F, 0.004F, [=](float x) { return ExpF(-(x * x) * (sharpness * sharpness)); });
}

// In the order of their numbers. Computed once: 501 exponentials cost as much as the drawing of a small ring.
const std::array<Curve, kSineProfile>& Curves() {
  constexpr float kHalfTurnStep = 0.0062831854F;  // pi over 500 steps
  const auto position = [](float x) { return x; };
  static const std::array<Curve, kSineProfile> curves{
      Accumulated(1.0F, 0.0F, position),     Triangle(), Accumulated(0.0F, 0.002F, position),
      Accumulated(1.0F, -0.002F, position),  Bell(2.0F), Bell(1.0F),
      Accumulated(0.0F, kHalfTurnStep, SinF)};
  return curves;
}

}  // namespace

void BuildProfileTable(float opacity, std::int32_t profile, ProfileTable& table) {
  if (profile < kSquareProfile || profile > kSineProfile) return table.fill(0);
  const float full = opacity * 255.0F;
  const Curve& curve = Curves()[static_cast<std::size_t>(profile - kSquareProfile)];
  for (std::size_t k = 0; k < table.size(); ++k) table[k] = TruncateToInt(curve[k] * full);
}

}  // namespace orvandel
