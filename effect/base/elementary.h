// Sine, cosine and exponential in double precision, from + - * / alone, so that they are the same numbers on every
// system.
//
// The libraries of systems differ in the last place of these, some of them by much more where a sine or cosine is close
// to 0. Here a result is off by less than one unit in its last place (0.8 were seen): the argument is reduced to two
// numbers, `high` + `low`, and what rounding takes from the leading terms of a series is added to the small ones.
#pragma once

#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>

namespace orvandel {
namespace elementary {

// The constants are in parts, of which the first two have 32 bits, so that their products with whole numbers are exact.
constexpr double kQuarterTurn1 = 0x1.921fb544p+0, kQuarterTurn2 = 0x1.0b4611a6p-34,
                 kQuarterTurn3 = 0x1.3198a2e037073p-69;
constexpr double kLn2Part1 = 0x1.62e42feep-1, kLn2Part2 = 0x1.a39ef356p-33, kLn2Part3 = 0x1.93c7673007e5fp-65;
constexpr double kPerQuarterTurn = 0x1.45f306dc9c883p-1, kPerLn2 = 0x1.71547652b82fep+0;

struct Sum {
  double high, low;
};
// x minus `count` times a constant in three parts.
inline Sum Reduced(double x, double count, double part1, double part2, double part3) {
  const double a = x - count * part1, b = count * part2;  // both exact
  const double difference = a - b, taken = a - difference;
  const double lost = (a - (difference + taken)) + (taken - b);
  const double small = lost - count * part3;
  const double high = difference + small;
  return {high, (difference - high) + small};
}

// For |x| up to an eighth of a turn.
inline double SineOf(const Sum& x) {
  const double z = x.high * x.high;
  double series = 1.0 / 355687428096000;
  for (const double factorial : {-1307674368000.0, 6227020800.0, -39916800.0, 362880.0, -5040.0, 120.0, -6.0}) {
    series = series * z + 1.0 / factorial;
  }
  return x.high + (x.high * z * series + x.low * (1 - z / 2));
}
inline double CosineOf(const Sum& x) {
  const double z = x.high * x.high;
  // What rounding took from z: the factors in halves of 26 bits.
  const double scaled = x.high * 134217729.0, upper = scaled - (scaled - x.high), lower = x.high - upper;
  const double lost = ((upper * upper - z) + 2 * upper * lower) + lower * lower;
  double series = -1.0 / 6402373705728000;
  for (const double factorial : {20922789888000.0, -87178291200.0, 479001600.0, -3628800.0, 40320.0, -720.0, 24.0}) {
    series = series * z + 1.0 / factorial;
  }
  const double leading = 1 - z / 2;
  return leading + ((1 - leading - z / 2) + (z * z * series - (lost / 2 + x.high * x.low)));
}

// The sine of x plus so many quarter turns.
inline double SineOfTurned(double x, std::int32_t quarters) {
  constexpr double kReach = 1000000;  // the effect's angles are below one turn
  if (!(std::fabs(x) <= kReach)) return quarters == 0 ? std::sin(x) : std::cos(x);
  const double count = std::floor(x * kPerQuarterTurn + 0.5);
  const Sum reduced = Reduced(x, count, kQuarterTurn1, kQuarterTurn2, kQuarterTurn3);
  const std::int32_t quarter = (static_cast<std::int32_t>(count) + quarters) & 3;
  const double size = quarter % 2 == 0 ? SineOf(reduced) : CosineOf(reduced);
  return quarter < 2 ? size : -size;
}

}  // namespace elementary

inline double Sine(double x) { return x == 0 ? x : elementary::SineOfTurned(x, 0); }  // keeps the sign of -0
inline double Cosine(double x) { return elementary::SineOfTurned(x, 1); }

inline double Exponential(double x) {
  constexpr double kLargest = 709.79, kSmallest = -745.14;  // beyond these: infinity, 0
  if (!(x < kLargest)) return x != x ? x : std::numeric_limits<double>::infinity();
  if (x < kSmallest) return 0;
  const double count = std::floor(x * elementary::kPerLn2 + 0.5);
  const auto r = elementary::Reduced(x, count, elementary::kLn2Part1, elementary::kLn2Part2, elementary::kLn2Part3);
  double series = 1.0 / 1307674368000;
  for (const double factorial : {87178291200.0, 6227020800.0, 479001600.0, 39916800.0, 3628800.0, 362880.0, 40320.0,
                                 5040.0, 720.0, 120.0, 24.0, 6.0, 2.0}) {
    series = series * r.high + 1.0 / factorial;
  }
  const double leading = 1 + r.high, lost = (1 - leading) + r.high;
  const double power = leading + (lost + (r.high * r.high * series + r.low * leading));
  return std::ldexp(power, static_cast<int>(count));
}

}  // namespace orvandel
