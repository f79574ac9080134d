// Sums, differences and products of ratios. Each is first tried exactly, with tests that may refuse a result that would
// just fit; then with reduced operands; then, where the caller allows it, as the nearest bounded ratio of the result in
// double precision.
#include <bit>
#include <cstdint>
#include <optional>

#include "orvandel/math_routines.h"

namespace {

using std::int32_t;
using std::uint32_t;

// |value|; 2^31 for -2^31.
uint32_t Magnitude(int32_t value) noexcept {
  const auto bits = static_cast<uint32_t>(value);
  return value < 0 ? 0U - bits : bits;
}

// Euclid; 1 when b is 0.
uint32_t GreatestCommonDivisor(uint32_t a, uint32_t b) noexcept {
  if (b == 0) return 1;
  while (b != 0) {
    const uint32_t rest = a % b;
    a = b;
    b = rest;
  }
  return a;
}

// Divides both by their greatest common divisor; false when that is 1. A divisor of 2^31 is not used, because it does
// not fit a signed number.
bool ReducePair(int32_t& num, uint32_t& den) noexcept {
  const uint32_t divisor = GreatestCommonDivisor(Magnitude(num), den);
  if (divisor == 1 || divisor > INT32_MAX) return false;
  num /= static_cast<int32_t>(divisor);
  den /= divisor;
  return true;
}

// These wrap; the callers have asked the overflow tests where that matters.
int32_t Sum(int32_t a, int32_t b) noexcept {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
int32_t Negated(int32_t value) noexcept { return static_cast<int32_t>(0U - static_cast<uint32_t>(value)); }
int32_t Product(int32_t a, uint32_t b) noexcept { return static_cast<int32_t>(static_cast<uint32_t>(a) * b); }

double ValueOf(const OrvRatio& ratio) noexcept { return static_cast<double>(ratio.num) / ratio.den; }

// The three forms of the status argument.
bool IsByte(const std::uint8_t* status) noexcept {
  return status != nullptr && status != ORV_RATIO_APPROXIMATE;  // NOLINT(performance-no-int-to-ptr): no place in memory
}

// Whether an approximation is allowed. A byte is exact from here on until an overflow shows.
bool OpenStatus(std::uint8_t* status) noexcept {
  if (!IsByte(status)) return status != nullptr;
  const bool mayApproximate = (*status & ORV_RATIO_MAY_APPROXIMATE) != 0;
  *status = ORV_RATIO_EXACT;
  return mayApproximate;
}

int32_t FinishOverflow(double value, bool mayApproximate, OrvRatio* result, std::uint8_t* status) noexcept {
  bool overflow = true;
  if (mayApproximate) M_FpLong2Ratio(value, result, &overflow);
  if (IsByte(status)) *status = overflow ? ORV_RATIO_OVERFLOW : ORV_RATIO_APPROXIMATED;
  if (!overflow) return ORV_MATH_OK;
  *result = {0, 0};
  return IsByte(status) ? ORV_MATH_OK : ORV_MATH_OVERFLOW;
}

// a + n2 / b.den by the least common denominator; nothing when a test says that it may not fit.
std::optional<OrvRatio> SumOverCommonDenominator(const OrvRatio& a, int32_t n2, uint32_t bDen) noexcept {
  if (a.den == bDen) {
    if (M_AddWouldOverflow(a.num, n2)) return std::nullopt;
    return OrvRatio{Sum(a.num, n2), a.den};
  }
  const uint32_t gcd = GreatestCommonDivisor(bDen, a.den);
  const uint32_t aFactor = bDen / gcd;
  const uint32_t bFactor = a.den / gcd;
  // A factor of 2^31 or more, beyond signed numbers, always fails the first test.
  if (M_UMulWouldOverflow(aFactor, a.den) || M_MulWouldOverflow(static_cast<int32_t>(aFactor), a.num) ||
      M_MulWouldOverflow(static_cast<int32_t>(bFactor), n2)) {
    return std::nullopt;
  }
  const int32_t aNum = Product(a.num, aFactor);
  const int32_t bNum = Product(n2, bFactor);
  if (M_AddWouldOverflow(aNum, bNum)) return std::nullopt;
  return OrvRatio{Sum(aNum, bNum), aFactor * a.den};
}

std::optional<OrvRatio> ExactSum(OrvRatio a, OrvRatio b, bool subtract) noexcept {
  for (;;) {
    // Negated at each use and not once: -2^31 can be negated only after a reduction.
    const int32_t n2 = subtract ? Negated(b.num) : b.num;
    if (a.num == 0) return OrvRatio{n2, b.den};
    if (b.num == 0) return a;
    if (const auto sum = SumOverCommonDenominator(a, n2, b.den)) return sum;
    const bool aReduced = ReducePair(a.num, a.den);
    const bool bReduced = ReducePair(b.num, b.den);
    if (!aReduced && !bReduced) return std::nullopt;
  }
}

int32_t AddOrSubtract(const OrvRatio* a, const OrvRatio* b, OrvRatio* result, std::uint8_t* status,
                      bool subtract) noexcept {
  if (a == nullptr || b == nullptr || result == nullptr) return ORV_MATH_INVALID_ARGUMENT;
  const bool mayApproximate = OpenStatus(status);
  if (a->den == 0 || b->den == 0) {
    *result = {0, 0};
    return ORV_MATH_ZERO_DENOMINATOR;
  }
  if (const auto exact = ExactSum(*a, *b, subtract)) {
    *result = *exact;
    return ORV_MATH_OK;
  }
  const double value = subtract ? ValueOf(*a) - ValueOf(*b) : ValueOf(*a) + ValueOf(*b);
  return FinishOverflow(value, mayApproximate, result, status);
}

std::optional<OrvRatio> PlainProduct(const OrvRatio& a, const OrvRatio& b) noexcept {
  if (M_UMulWouldOverflow(a.den, b.den) || M_MulWouldOverflow(a.num, b.num)) return std::nullopt;
  return OrvRatio{Product(a.num, static_cast<uint32_t>(b.num)), a.den * b.den};
}

std::optional<OrvRatio> ExactProduct(OrvRatio a, OrvRatio b) noexcept {
  if (const auto product = PlainProduct(a, b)) return product;
  bool isReduced = ReducePair(a.num, a.den);
  isReduced |= ReducePair(b.num, b.den);
  isReduced |= ReducePair(b.num, a.den);
  isReduced |= ReducePair(a.num, b.den);
  return isReduced ? PlainProduct(a, b) : std::nullopt;
}

}  // namespace

int32_t M_AddRatio(const OrvRatio* a, const OrvRatio* b, OrvRatio* result, uint8_t* status) {
  return AddOrSubtract(a, b, result, status, false);
}

int32_t M_SubRatio(const OrvRatio* a, const OrvRatio* b, OrvRatio* result, uint8_t* status) {
  return AddOrSubtract(a, b, result, status, true);
}

int32_t M_MulRatio(const OrvRatio* a, const OrvRatio* b, OrvRatio* result, uint8_t* status) {
  if (a == nullptr || b == nullptr || result == nullptr) return ORV_MATH_INVALID_ARGUMENT;
  const bool mayApproximate = OpenStatus(status);
  if (a->den == 0 || b->den == 0) {
    *result = {0, 0};
    return ORV_MATH_INVALID_ARGUMENT;
  }
  if (const auto exact = ExactProduct(*a, *b)) {
    *result = *exact;
    return ORV_MATH_OK;
  }
  return FinishOverflow(ValueOf(*a) * ValueOf(*b), mayApproximate, result, status);
}

int32_t M_ReduceRatio(const OrvRatio* in, OrvRatio* out, bool* reduced) {
  if (in == nullptr || out == nullptr) return ORV_MATH_INVALID_ARGUMENT;
  *out = *in;
  const bool isReduced = ReducePair(out->num, out->den);
  if (reduced != nullptr) *reduced = isReduced;
  return ORV_MATH_OK;
}

int32_t M_UnsignedGCD(uint32_t a, uint32_t b, uint32_t* gcd) {
  if (gcd == nullptr) return ORV_MATH_INVALID_ARGUMENT;
  *gcd = GreatestCommonDivisor(a, b);
  return ORV_MATH_OK;
}

bool M_AddWouldOverflow(int32_t a, int32_t b) { return (a < 0) == (b < 0) && (Sum(a, b) < 0) != (a < 0); }

bool M_MulWouldOverflow(int32_t a, int32_t b) {
  return M_LeadingZeros(Magnitude(a)) + M_LeadingZeros(Magnitude(b)) < 33;
}

bool M_UMulWouldOverflow(uint32_t a, uint32_t b) { return M_LeadingZeros(a) + M_LeadingZeros(b) < 32; }

int16_t M_LeadingZeros(uint32_t x) { return static_cast<int16_t>(std::countl_zero(x)); }
