// Rounding and remainder against the standard library wherever both are exact, and at the ends of their ranges.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "orvandel/math_routines.h"

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

TEST(Rounding, HalvesGoUpAndTheEndsSaturate) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 200000; ++i) {
    // Multiples of 1/8 of every magnitude, so that halves are frequent and d + 0.5 is exact.
    const auto eighths = static_cast<std::int64_t>(random()) >> (30 + random() % 34);
    const double d = static_cast<double>(eighths) / 8;
    ASSERT_EQ(M_RoundDouble(d), std::fmin(std::floor(d + 0.5), 2147483647.0)) << d;
  }
  EXPECT_EQ(M_RoundDouble(-2.6), -3);
  EXPECT_EQ(M_RoundDouble(-0.4), 0);
  EXPECT_EQ(M_RoundDouble(0.49999999999999994), 1) << "the sum has rounded";
  EXPECT_EQ(M_RoundDouble(-0.49999999999999994), -1);
  for (const double d : {2147483647.4, 2147483647.5, 2147483648.0, 1e300, kInfinity}) {
    EXPECT_EQ(M_RoundDouble(d), INT32_MAX) << d;
    EXPECT_EQ(M_RoundDouble(-d - 1), INT32_MIN) << d;
  }
  EXPECT_EQ(M_RoundDouble(kNan), 0);
}

// Every angle of the effect goes through this: the last bits are those of division, product and difference.
TEST(Remainder, RoundsOnceAnOperation) {
  std::mt19937_64 random(3);
  int different = 0;
  for (int i = 0; i < 100000; ++i) {
    const double x = std::ldexp(static_cast<double>(random()), -32 - static_cast<int>(random() % 24));
    const double y = 0.1 + static_cast<double>(random() % 100000) / 7;
    const volatile double quotient = x / y;
    const volatile double product = std::floor(quotient) * y;
    ASSERT_EQ(M_fmod(x, y), x - product);
    ASSERT_EQ(M_fmod(-x, y), product - x);
    ASSERT_EQ(M_fmod(x, -y), x - product);
    different += M_fmod(x, y) != std::fmod(x, y);
  }
  EXPECT_GT(different, 0) << "the operands are too tame to tell the two apart";
  EXPECT_EQ(M_fmod(-370, 360), -10);
  for (const double nothing : {M_fmod(5, 0), M_fmod(0, kInfinity), M_fmod(kInfinity, 0)}) EXPECT_EQ(nothing, 0);
  EXPECT_TRUE(std::isnan(M_fmod(kNan, 360)));
}

}  // namespace
