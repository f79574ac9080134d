// Ratio arithmetic against 128-bit integers, with the operands that break such code on purpose.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include "effect/math/ratio_approximation.h"
#include "orvandel/math_routines.h"

bool operator==(const OrvRatio& a, const OrvRatio& b) { return a.num == b.num && a.den == b.den; }
void PrintTo(const OrvRatio& ratio, std::ostream* out) { *out << ratio.num << "/" << ratio.den; }

namespace {

__extension__ typedef __int128 Wide;
using Routine = int32_t (*)(const OrvRatio*, const OrvRatio*, OrvRatio*, uint8_t*);

constexpr OrvRatio kNothing{0, 0};

struct Operands {
  OrvRatio a, b;
};

// Every pair of awkward terms, and random ones of all magnitudes with common factors.
std::vector<Operands> SomeOperands() {
  std::vector<OrvRatio> awkward;
  for (const int32_t num : {INT32_MIN, INT32_MIN + 1, -(1 << 30), -46341, -1, 0, 1, 6, 65536, 1 << 30, INT32_MAX}) {
    for (const uint32_t den : {0U, 1U, 2U, 15U, 32768U, 65536U, 1U << 30, 0x7FFFFFFFU, 1U << 31, UINT32_MAX}) {
      awkward.push_back({num, den});
    }
  }
  std::vector<Operands> all;
  for (const OrvRatio& a : awkward) {
    for (const OrvRatio& b : awkward) all.push_back({a, b});
  }
  std::mt19937 random(1);
  const auto term = [&random] { return static_cast<uint32_t>(random()) >> random() % 32; };
  for (int i = 0; i < 100000; ++i) {
    const uint32_t factor = 1 + term() % 5000;
    const auto ratio = [&] {
      return OrvRatio{static_cast<int32_t>(term() * factor), std::max(1U, term() % (UINT32_MAX / factor)) * factor};
    };
    all.push_back({ratio(), ratio()});
  }
  return all;
}

// Numerator over the product of the denominators.
Wide ExactNumerator(Routine routine, const Operands& o) {
  if (routine == M_MulRatio) return static_cast<Wide>(o.a.num) * o.b.num;
  const Wide b = static_cast<Wide>(o.b.num) * o.a.den;
  return static_cast<Wide>(o.a.num) * o.b.den + (routine == M_AddRatio ? b : -b);
}

// -2^31 stays what it is when it is negated, and 2^31 divides nothing.
bool HasSpecialTerm(const Operands& o) { return o.a.num == INT32_MIN || o.b.num == INT32_MIN; }

// Whether the plain way stays a bit below the limits, where the overflow tests may not refuse it.
bool FitsPlainly(Routine routine, const Operands& o) {
  const auto isSmall = [](double num, double factor) { return std::abs(num * factor) < 0x1p30; };
  const bool isProduct = routine == M_MulRatio;
  return static_cast<Wide>(o.a.den) * o.b.den < 1U << 31 && isSmall(o.a.num, isProduct ? o.b.num : o.b.den) &&
         (isProduct || isSmall(o.b.num, o.a.den));
}

void CheckApproximation(const OrvRatio& result, long double expected) {
  const long double value = static_cast<long double>(result.num) / result.den;
  const long double clamped = std::min(std::abs(expected), 0x1p30L);
  EXPECT_LE(std::abs(value - std::copysign(clamped, expected)), 0x1p-30L + clamped * 0x1p-23L);
}

void CheckEveryStatus(Routine routine, const Operands& o) {
  OrvRatio strict, lenient, bytewise;
  uint8_t mayNot = 0xFD;
  uint8_t may = 2;
  const int32_t strictCode = routine(&o.a, &o.b, &strict, nullptr);
  const int32_t lenientCode = routine(&o.a, &o.b, &lenient, ORV_RATIO_APPROXIMATE);
  ASSERT_EQ(routine(&o.a, &o.b, &bytewise, &mayNot), 0);
  ASSERT_EQ(bytewise, strict);
  ASSERT_EQ(mayNot, strictCode == 0 ? ORV_RATIO_EXACT : ORV_RATIO_OVERFLOW);
  ASSERT_EQ(routine(&o.a, &o.b, &bytewise, &may), 0);
  ASSERT_EQ(bytewise, lenient);

  const Wide num = ExactNumerator(routine, o);
  const Wide den = static_cast<Wide>(o.a.den) * o.b.den;
  if (strictCode == 0) {
    ASSERT_EQ(may, ORV_RATIO_EXACT);
    ASSERT_EQ(lenient, strict);
    ASSERT_TRUE(HasSpecialTerm(o) || strict.num * den == num * strict.den);
    return;
  }
  ASSERT_EQ(strictCode, ORV_MATH_OVERFLOW);
  ASSERT_EQ(strict, kNothing);
  ASSERT_FALSE(!HasSpecialTerm(o) && FitsPlainly(routine, o));
  ASSERT_EQ(may, lenientCode == 0 ? ORV_RATIO_APPROXIMATED : ORV_RATIO_OVERFLOW);
  const long double value = static_cast<long double>(num) / static_cast<long double>(den);
  if (lenientCode == 0) {
    CheckApproximation(lenient, value);
  } else {
    ASSERT_EQ(lenientCode, ORV_MATH_OVERFLOW);
    ASSERT_EQ(lenient, kNothing);
    ASSERT_GE(std::abs(value), 2147483647.9L);
  }
}

TEST(RatioArithmetic, IsExactOrSaysSo) {
  for (const Operands& o : SomeOperands()) {
    for (const Routine routine : {M_AddRatio, M_SubRatio, M_MulRatio}) {
      SCOPED_TRACE(testing::PrintToString(o.a) + ", " + testing::PrintToString(o.b));
      OrvRatio result{7, 7};
      uint8_t status = 3;
      const int32_t code = routine(&o.a, &o.b, &result, &status);
      if (o.a.den != 0 && o.b.den != 0) {
        CheckEveryStatus(routine, o);
      } else {
        ASSERT_EQ(code, routine == M_MulRatio ? 123 : 4358);
        ASSERT_EQ(result, kNothing);
        ASSERT_EQ(status, 0);
      }
      // The result may stand where an operand stood.
      Operands over = o;
      routine(&over.a, &over.b, &over.a, nullptr);
      ASSERT_TRUE(routine(&o.a, &o.b, &result, nullptr) == 0 ? over.a == result : over.a == kNothing);
      over = o;
      routine(&over.a, &over.b, &over.b, nullptr);
      ASSERT_EQ(over.b, result);
      if (HasFatalFailure()) return;
    }
  }
}

TEST(RatioArithmetic, KeepsTheFormOfItsResults) {
  struct Row {
    Routine routine;
    Operands operands;
    OrvRatio expected;
  };
  const Row rows[] = {
      {M_AddRatio, {{1, 2}, {1, 3}}, {5, 6}},
      {M_SubRatio, {{1, 2}, {1, 2}}, {0, 2}},
      {M_AddRatio, {{0, 5}, {3, 7}}, {3, 7}},
      {M_SubRatio, {{0, 5}, {3, 7}}, {-3, 7}},
      {M_AddRatio, {{3, 7}, {0, 5}}, {3, 7}},
      {M_MulRatio, {{2, 3}, {3, 4}}, {6, 12}},
      {M_AddRatio, {{1 << 30, 6}, {4, 6}}, {(1 << 30) + 4, 6}},  // no product to refuse
      // Reduced only because the plain way overflows.
      {M_AddRatio, {{2, 0x40000000U}, {1, 0x30000000U}}, {5, 0x60000000U}},
      {M_MulRatio, {{1 << 20, 1U << 20}, {1 << 20, 3}}, {1 << 20, 3}},
      // -2^31 is negated after the reduction that it needs, and not at all where none is needed.
      {M_SubRatio, {{1, 3}, {INT32_MIN, 1U << 29}}, {13, 3}},
      {M_SubRatio, {{0, 5}, {INT32_MIN, 3}}, {INT32_MIN, 3}},
  };
  for (const Row& row : rows) {
    OrvRatio result;
    EXPECT_EQ(row.routine(&row.operands.a, &row.operands.b, &result, nullptr), 0);
    EXPECT_EQ(result, row.expected);
  }
}

TEST(Ratio, NullPointersAreRefused) {
  OrvRatio r{1, 2};
  bool flag = false;
  for (const Routine routine : {M_AddRatio, M_SubRatio, M_MulRatio}) {
    EXPECT_TRUE(routine(nullptr, &r, &r, nullptr) == 123 && routine(&r, nullptr, &r, nullptr) == 123);
    EXPECT_EQ(routine(&r, &r, nullptr, nullptr), 123);
  }
  EXPECT_TRUE(M_ReduceRatio(nullptr, &r, nullptr) == 123 && M_ReduceRatio(&r, nullptr, &flag) == 123);
  EXPECT_EQ(M_UnsignedGCD(1, 2, nullptr), 123);
  EXPECT_TRUE(M_ConvRatio(nullptr, 1, &r, &flag, &flag) == 123 && M_ConvRatio(&r, 1, nullptr, &flag, &flag) == 123);
  EXPECT_EQ(M_ShortConvRatio(1, 2, 3, nullptr, &flag), 123);
  EXPECT_TRUE(M_FpLong2Ratio(1, nullptr, &flag) == 123 && M_FpLong2Ratio(1, &r, nullptr) == 123);
  EXPECT_TRUE(M_ReduceRatio(&r, &r, nullptr) == 0 && (r == OrvRatio{1, 2}));
}

TEST(Ratio, ReductionAndDivisors) {
  for (const Operands& o : SomeOperands()) {
    uint32_t gcd = 0;
    M_UnsignedGCD(o.a.den, o.b.den, &gcd);
    ASSERT_EQ(gcd, o.b.den == 0 ? 1 : std::gcd(o.a.den, o.b.den));

    OrvRatio out = o.a;
    bool reduced = false;
    ASSERT_EQ(M_ReduceRatio(&out, &out, &reduced), 0);
    const int64_t divisor = std::gcd(static_cast<int64_t>(o.a.num), static_cast<int64_t>(o.a.den));
    ASSERT_EQ(reduced, o.a.den != 0 && divisor != 1 && divisor < int64_t{1} << 31);
    const int64_t divided = reduced ? divisor : 1;
    ASSERT_EQ(out.num * divided, o.a.num);
    ASSERT_EQ(out.den * divided, o.a.den);
  }
}

TEST(Ratio, OverflowTestsRefuseEveryOverflowAndAtMostOneBit) {
  for (const Operands& o : SomeOperands()) {
    const int64_t sum = int64_t{o.a.num} + o.b.num;
    ASSERT_EQ(M_AddWouldOverflow(o.a.num, o.b.num), sum != static_cast<int32_t>(sum));
    const int64_t product = std::abs(int64_t{o.a.num} * o.b.num);
    const bool refused = M_MulWouldOverflow(o.a.num, o.b.num);
    ASSERT_TRUE(refused || product <= INT32_MAX);
    ASSERT_TRUE(!refused || product >= 1 << 30 || HasSpecialTerm(o));
    const uint64_t unsignedProduct = uint64_t{o.a.den} * o.b.den;
    const bool unsignedRefused = M_UMulWouldOverflow(o.a.den, o.b.den);
    ASSERT_TRUE(unsignedRefused || unsignedProduct <= UINT32_MAX);
    ASSERT_TRUE(!unsignedRefused || unsignedProduct >= 1U << 31);
  }
  EXPECT_TRUE(M_MulWouldOverflow(0x8000, 0x8000));
  EXPECT_EQ(M_LeadingZeros(0), 32);
  for (int16_t bit = 0; bit < 32; ++bit) EXPECT_EQ(M_LeadingZeros(0xFFFFFFFFU >> bit), bit);
}

TEST(RatioConversion, RoundsAndFlags) {
  for (const Operands& o : SomeOperands()) {
    const OrvRatio in = o.a;
    const uint32_t newDen = o.b.den;
    OrvRatio out = in;
    bool exact = true, overflow = true, shortOverflow = true;
    int32_t num = 5;
    const int32_t code = M_ConvRatio(&out, newDen, &out, &exact, &overflow);
    ASSERT_EQ(M_ShortConvRatio(in.num, in.den, newDen, &num, &shortOverflow), code);
    ASSERT_EQ(num, out.num);
    ASSERT_EQ(shortOverflow, overflow);
    ASSERT_EQ(M_ShortConvRatio(in.num, in.den, newDen, &num, nullptr), overflow ? 123 : code);

    if (in.den == 0 || newDen == 0) {
      ASSERT_EQ(code, 4358);
      ASSERT_TRUE(out == kNothing && !overflow);
      continue;
    }
    ASSERT_EQ(code, 0);
    const Wide wanted = static_cast<Wide>(in.num) * newDen;
    if (overflow) {
      ASSERT_TRUE(out == kNothing && !exact);
      ASSERT_GT(std::abs(static_cast<double>(wanted) / in.den), 2147483646.99);
      continue;
    }
    ASSERT_EQ(out.den, newDen);
    const double lost = std::abs(static_cast<double>(wanted - static_cast<Wide>(out.num) * in.den));
    ASSERT_LE(lost, in.den * 0.50001);  // the factor is a rounded double
    ASSERT_TRUE(exact || lost != 0);
    ASSERT_TRUE(!exact || lost == 0 || std::abs(static_cast<double>(wanted)) >= 0x1p53);
  }
}

// No ratio with terms within the bound is nearer. All products are exact in double precision.
void ExpectNearest(float value, int32_t bound) {
  const OrvRatio ratio = orvandel::ApproximateRatio(value, bound);
  ASSERT_LE(std::abs(ratio.num), bound);
  ASSERT_LE(ratio.den, static_cast<uint32_t>(bound));
  const double distance = std::abs(double{value} * ratio.den - ratio.num);
  for (int32_t den = 1; den <= bound; ++den) {
    for (const double step : {0.0, 1.0}) {
      const double num = std::min(std::floor(double{std::abs(value)} * den) + step, double{1} * bound);
      const double other = std::abs(double{std::abs(value)} * den - num);
      ASSERT_LE(distance * den, other * ratio.den)
          << value << ": " << ratio.num << "/" << ratio.den << ", but " << num << "/" << den;
    }
  }
}

TEST(RatioApproximation, IsTheNearestWithinSmallBounds) {
  std::mt19937 random(4);
  for (int32_t bound = 1; bound <= 70; ++bound) {
    for (int i = 0; i < 300; ++i) {
      const float magnitude = std::ldexp(static_cast<float>(random() >> 8), -24 + static_cast<int>(random() % 16) - 8);
      ExpectNearest(random() % 2 == 0 ? magnitude : -magnitude, bound);
      // Ratios of small terms, so that the expansion ends, or the bound lies half way between two convergents.
      ExpectNearest(static_cast<float>(1 + random() % 200) / static_cast<float>(1 + random() % 200), bound);
      ExpectNearest(static_cast<float>(random() % 4096) / 64, bound);
      if (HasFatalFailure()) return;
    }
  }
  for (const int32_t bound : {0, -5}) EXPECT_EQ(orvandel::ApproximateRatio(2.5F, bound), (OrvRatio{0, 1}));
  EXPECT_EQ(orvandel::ApproximateRatio(2.5F, 3), (OrvRatio{2, 1})) << "of two equally near ones the convergent";
}

TEST(RatioApproximation, OfDoublesIsReducedAndAsNearAsTheBoundAllows) {
  std::mt19937_64 random(5);
  for (int i = 0; i < 200000; ++i) {
    const double x =
        std::ldexp(static_cast<double>(random() | 1), -64 + static_cast<int>(random() % 66) - 34) * (i % 2 ? 1 : -1);
    OrvRatio out;
    bool overflow = true;
    ASSERT_EQ(M_FpLong2Ratio(x, &out, &overflow), 0);
    ASSERT_EQ(overflow, std::abs(x) >= 0x1p31) << x;
    if (overflow) {
      ASSERT_EQ(out, kNothing);
      continue;
    }
    ASSERT_LE(std::max<uint32_t>(static_cast<uint32_t>(std::abs(out.num)), out.den), 1U << 30);
    ASSERT_EQ(std::gcd(static_cast<int64_t>(out.num), static_cast<int64_t>(out.den)), 1);
    // Among others, n over the largest denominator that keeps n within the bound was to be had.
    const long double magnitude = std::min(std::abs(static_cast<long double>(static_cast<float>(x))), 0x1p30L);
    const long double largestDen = std::floor(std::min(0x1p30L, 0x1p30L / magnitude));
    const long double error = std::abs(static_cast<long double>(out.num) / out.den - std::copysign(magnitude, x));
    ASSERT_LE(error, 0.5L / largestDen * (1 + 0x1p-50L)) << x;
    const bool fits = magnitude < 1024 && std::trunc(magnitude * 0x1p20L) == magnitude * 0x1p20L;
    ASSERT_TRUE(error == 0 || !fits) << x;
  }
}

TEST(RatioApproximation, OfKnownNumbers) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  struct Row {
    double x;
    OrvRatio expected;
  };
  const Row rows[] = {
      {-0.0, {0, 1}},
      {1.0 / 3.0, {11184811, 33554432}},
      {5e-324, {0, 1}},
      {0x1.4p-31, {1, 1 << 30}},
      {0x1p-31, {0, 1}},
      {0x1p30, {1 << 30, 1}},
      {-2147483647.9, {-(1 << 30), 1}},
      {0x1p31, kNothing},
      {-kInfinity, kNothing},
      {std::nan(""), kNothing},
  };
  for (const Row& row : rows) {
    OrvRatio out;
    bool overflow = true;
    EXPECT_EQ(M_FpLong2Ratio(row.x, &out, &overflow), 0);
    EXPECT_EQ(out, row.expected) << row.x;
    EXPECT_EQ(overflow, row.expected == kNothing) << row.x;
  }
}

}  // namespace
