// Many steps of an edge at once, against one addition after the other.
#define ORVANDEL_KERNELS tested
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "effect/render/fast/pieces/edge_steps.h"

namespace orvandel::fast::tested {
namespace {

struct Steps {
  float v, d;
  std::int32_t rows;
};

// Half of them around a power of two, by eighths of the unit there: where rounding is in doubt.
Steps RandomSteps(std::mt19937& random) {
  const auto upTo = [&random](int n) { return std::uniform_int_distribution<int>(0, n)(random); };
  const int exponent = upTo(14) - 2;
  const float power = std::ldexp(1.0F, exponent), unit = std::ldexp(1.0F, exponent - 23);
  const float sign = upTo(1) == 0 ? 1.0F : -1.0F;
  Steps steps{power, 0, upTo(70)};
  if (upTo(1) == 0) {
    steps.v += unit * static_cast<float>(upTo(400));
    steps.d = unit * 0.125F * static_cast<float>(upTo(128) - 64);
  } else {
    steps.v += power * static_cast<float>(upTo(1 << 20)) * 0x1p-20F;
    steps.d = static_cast<float>(upTo(1 << 24) - (1 << 23)) * 0x1p-20F;
  }
  steps.v *= sign;
  return steps;
}

TEST(EdgeSteps, AreThoseOfSingleAdditions) {
  std::mt19937 random(1);
  int even = 0;
  constexpr int kCases = 200000;
  for (int i = 0; i < kCases; ++i) {
    const Steps steps = RandomSteps(random);
    // The other lanes hold what edges without rows may hold.
    const FourFloats v{steps.v, NAN, INFINITY, 1.0F}, d{steps.d, NAN, -INFINITY, 1e30F};
    const EvenSteps all = MakeEvenSteps(v, d, FourInts{steps.rows});
    float at = steps.v;
    for (std::int32_t row = 0; row < steps.rows; ++row, at += steps.d) {
      if (!all.all) continue;
      ASSERT_EQ(std::fma(static_cast<float>(row), all.step[0], steps.v), at)
          << steps.v << " + " << row << " * " << steps.d;
    }
    if (all.all) {
      ASSERT_EQ(all.end[0], at) << steps.v << " + " << steps.rows << " * " << steps.d;
    }
    EXPECT_EQ(all.end[3], 1.0F);
    FourFloats stepped{steps.v};
    StepRows(stepped, FourFloats{steps.d}, steps.rows);
    ASSERT_EQ(stepped[0], at) << steps.v << " + " << steps.rows << " * " << steps.d;
    even += all.all ? 1 : 0;
  }
  EXPECT_GT(even, kCases / 4) << "most edges are to be taken at once";
}

}  // namespace
}  // namespace orvandel::fast::tested
