// Method: continued fractions with semiconvergents.
//
// The expansion is always of a number x > 1: the value itself, or its reciprocal when the value is below 1. With
// partial quotients a0, a1, ... the convergents h/k follow h = a h' + h'', k = a k' + k'' and come ever nearer to x; h
// is the larger term, so it alone is held to the bound. The first convergent whose h would pass the bound is replaced
// by the semiconvergent t h + hPrev over t k + kPrev with the largest t that stays within it. That is nearer to x than
// h/k when 2 t > a, farther when 2 t < a, and for 2 t = a the remainders of the division decide.
//
// The division is exact: a single-precision number is a ratio of two integers, and the expansion is Euclid's algorithm
// on them.
#include "effect/math/ratio_approximation.h"

#include <cmath>

namespace orvandel {
namespace {

// x = whole + remainder / divisor, with remainder < divisor.
struct Division {
  std::uint32_t whole;
  std::uint32_t remainder;
  std::uint32_t divisor;
};

struct Term {
  std::uint32_t large;  // h
  std::uint32_t small;  // k
};

// For 1 <= value < 2^31. The fraction of such a number has at most 23 bits.
Division DivisionOf(float value) noexcept {
  constexpr std::uint32_t kOne = 1U << 23;
  const auto whole = static_cast<std::uint32_t>(value);
  const float fraction = value - std::trunc(value);
  return {whole, static_cast<std::uint32_t>(fraction * static_cast<float>(kOne)), kOne};
}

// For 2^-32 < value < 1: 2^E over the 24-bit mantissa, E at most 55.
Division DivisionOfReciprocal(float value) noexcept {
  int exponent = 0;
  const float mantissa = std::frexp(value, &exponent);
  const auto divisor = static_cast<std::uint32_t>(std::ldexp(mantissa, 24));
  const std::uint64_t dividend = std::uint64_t{1} << (24 - exponent);
  return {static_cast<std::uint32_t>(dividend / divisor), static_cast<std::uint32_t>(dividend % divisor), divisor};
}

Term Next(std::uint32_t quotient, const Term& term, const Term& previous) noexcept {
  return {quotient * term.large + previous.large, quotient * term.small + previous.small};
}

// Whether the semiconvergent exactly half way, t = a / 2, is nearer than the convergent. The comparison of the two
// distances needs the denominators of the resulting fractions; for a reciprocal these are the large terms.
bool IsHalfwayNearer(std::uint32_t remainder, std::uint32_t nextRemainder, const Term& term, const Term& previous,
                     bool isReciprocal) noexcept {
  const std::uint64_t previousTerm = isReciprocal ? previous.large : previous.small;
  const std::uint64_t currentTerm = isReciprocal ? term.large : term.small;
  return remainder * previousTerm > nextRemainder * currentTerm;
}

// 1 <= division.whole < bound.
Term Expand(Division division, std::uint32_t bound, bool isReciprocal) noexcept {
  Term term{division.whole, 1};
  Term previous{1, 0};
  std::uint32_t divisor = division.divisor;
  std::uint32_t remainder = division.remainder;
  while (remainder != 0) {
    const std::uint32_t quotient = divisor / remainder;
    const std::uint32_t nextRemainder = divisor % remainder;
    const std::uint32_t largest = (bound - previous.large) / term.large;
    if (largest <= quotient) {
      const std::uint64_t doubled = std::uint64_t{largest} * 2;
      const bool takeSemiconvergent =
          doubled > quotient ||
          (doubled == quotient && IsHalfwayNearer(remainder, nextRemainder, term, previous, isReciprocal));
      return takeSemiconvergent ? Next(largest, term, previous) : term;
    }
    const Term next = Next(quotient, term, previous);
    previous = term;
    term = next;
    divisor = remainder;
    remainder = nextRemainder;
  }
  return term;
}

// value > 0. Below 1/bound only 0 and 1/bound are left to choose from.
OrvRatio ApproximateMagnitude(float value, std::int32_t bound) noexcept {
  const auto limit = static_cast<std::uint32_t>(bound);
  const OrvRatio smallest{1, limit};
  if (value >= 1) {
    if (static_cast<std::uint32_t>(value) >= limit) return {bound, 1};
    const Term term = Expand(DivisionOf(value), limit, false);
    return {static_cast<std::int32_t>(term.large), term.small};
  }
  if (value <= 0x1p-32F) return {0, 1};
  const Division division = DivisionOfReciprocal(value);
  if (division.whole >= limit) return division.whole < std::uint64_t{limit} * 2 ? smallest : OrvRatio{0, 1};
  const Term term = Expand(division, limit, true);
  return {static_cast<std::int32_t>(term.small), term.large};
}

}  // namespace

OrvRatio ApproximateRatio(float value, std::int32_t bound) noexcept {
  if (bound <= 0) return {0, 1};
  OrvRatio ratio = ApproximateMagnitude(std::fabs(value), bound);
  if (value < 0) ratio.num = -ratio.num;
  return ratio;
}

}  // namespace orvandel
