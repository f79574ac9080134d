// The seven profiles.
//
// The position along a curve is accumulated, one single-precision addition per entry, and its rounding is part of the
// picture: a sawtooth ends at 254, not at 255.

#include "effect/render/stroke/profile_table.h"

#include "effect/base/float_rules.h"

namespace orvandel {
namespace {

// Fills entry k with curve(x_k) x `full`, where x_0 = `start` and x_(k+1) = x_k + `step`.
template <typename Curve>
void Accumulate(ProfileTable& table, float start, float step, float full, Curve curve) {
  float x = start;
  for (std::int32_t& entry : table) {
    entry = TruncateToInt(curve(x) * full);
    x += step;
  }
}

// Rises over entries 0 to 249 and falls over 251 to 500; 251 is as full as 250, so the two sides differ by one entry.
void FillTriangle(ProfileTable& table, float full) {
  constexpr std::int32_t kPeak = 250;
  for (std::int32_t k = 0; k < kProfileEntries; ++k) {
    const std::int32_t rise = k <= kPeak ? k : kProfileEntries - k;
    table[static_cast<std::size_t>(k)] = TruncateToInt(static_cast<float>(rise) / 250.0F * full);
  }
}

void FillGaussian(ProfileTable& table, float sharpness, float full) {
  Accumulate(table, -1.0F, 0.004F, full, [=](float x) { return ExpF(-(x * x) * (sharpness * sharpness)); });
}

}  // namespace

void BuildProfileTable(float opacity, std::int32_t profile, ProfileTable& table) {
  constexpr float kHalfTurnStep = 0.0062831854F;  // pi over 500 steps
  const float full = opacity * 255.0F;
  table.fill(0);
  switch (profile) {
    case kSquareProfile:
      table.fill(TruncateToInt(full));
      break;
    case kTriangleProfile:
      FillTriangle(table, full);
      break;
    case kSawtoothOutProfile:
      Accumulate(table, 0.0F, 0.002F, full, [](float x) { return x; });
      break;
    case kSawtoothInProfile:
      Accumulate(table, 1.0F, -0.002F, full, [](float x) { return x; });
      break;
    case kGaussianProfile:
      FillGaussian(table, 2.0F, full);
      break;
    case kBellProfile:
      FillGaussian(table, 1.0F, full);
      break;
    case kSineProfile:
      Accumulate(table, 0.0F, kHalfTurnStep, full, [](float x) { return SinF(x); });
      break;
    default:
      break;
  }
}

}  // namespace orvandel
