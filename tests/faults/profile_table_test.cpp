// Every entry of every profile, against the curves written out as plain sums: the running single-precision sum is part
// of the picture, and recomputing it as start + k x step changes entries.
#include "effect/render/stroke/profile_table.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orvandel {
namespace {

float Truncated(float value) { return std::trunc(value); }

float Expected(std::int32_t profile, int k, float sum, float full) {
  const auto position = static_cast<double>(sum);
  switch (profile) {
    case kSquareProfile:
      return Truncated(full);
    case kTriangleProfile:
      return Truncated(static_cast<float>(k <= 250 ? k : 501 - k) / 250.0F * full);
    case kSawtoothOutProfile:
    case kSawtoothInProfile:
      return Truncated(sum * full);
    case kGaussianProfile:
      return Truncated(static_cast<float>(std::exp(static_cast<double>(-(sum * sum) * 4.0F))) * full);
    case kBellProfile:
      return Truncated(static_cast<float>(std::exp(static_cast<double>(-(sum * sum)))) * full);
    case kSineProfile:
      return Truncated(static_cast<float>(std::sin(position)) * full);
    default:
      return 0;
  }
}

TEST(ProfileTables, EveryEntryOfEveryProfile) {
  struct Sum {
    float start, step;
  };
  constexpr Sum kSums[9] = {
      {0, 0}, {0, 0}, {0, 0}, {0, 0.002F}, {1, -0.002F}, {-1, 0.004F}, {-1, 0.004F}, {0, 6.283185307e-3F}, {0, 0}};
  for (int alpha = 0; alpha <= 255; ++alpha) {
    const float opacity = static_cast<float>(alpha) / 255.0F;
    for (std::int32_t profile = 0; profile <= 8; ++profile) {
      ProfileTable table;
      table.fill(-1);
      BuildProfileTable(opacity, profile, table);
      float sum = kSums[profile].start;
      for (int k = 0; k <= 500; ++k, sum += kSums[profile].step) {
        ASSERT_EQ(table[static_cast<std::size_t>(k)],
                  static_cast<std::int32_t>(Expected(profile, k, sum, opacity * 255.0F)))
            << "profile " << profile << ", entry " << k << ", alpha " << alpha;
      }
    }
  }
}

// The same, as numbers: a sawtooth ends at 254 because the thousandths do not add up to 1.
TEST(ProfileTables, EndsQuartersAndMiddles) {
  using Entries = std::array<std::int32_t, 5>;
  constexpr Entries kExpected[] = {{255, 255, 255, 255, 255}, {0, 127, 255, 128, 1}, {0, 63, 127, 191, 254},
                                   {255, 191, 127, 63, 0},    {4, 93, 255, 93, 4},   {93, 198, 255, 198, 93},
                                   {0, 180, 255, 180, 0}};
  for (std::int32_t profile = kSquareProfile; profile <= kSineProfile; ++profile) {
    ProfileTable table;
    BuildProfileTable(1.0F, profile, table);
    EXPECT_EQ((Entries{table[0], table[125], table[250], table[375], table[500]}), kExpected[profile - 1]) << profile;
  }
}

}  // namespace
}  // namespace orvandel
