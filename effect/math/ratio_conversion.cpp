// Ratios over another denominator, and ratios for doubles.
#include <cmath>

#include "effect/math/ratio_approximation.h"
#include "orvandel/math_routines.h"

namespace {

// num / den over newDen, rounded; *overflow when it leaves 32 bits, and then 0. No denominator is 0.
int32_t ConvertedNumerator(int32_t num, uint32_t den, uint32_t newDen, bool* overflow) {
  const double converted = static_cast<double>(newDen) / den * num;
  *overflow = converted > 2147483647.0 || converted < -2147483648.0;
  return *overflow ? 0 : M_RoundDouble(converted);
}

void Store(bool* flag, bool value) {
  if (flag != nullptr) *flag = value;
}

}  // namespace

int32_t M_ConvRatio(const OrvRatio* inPointer, uint32_t newDen, OrvRatio* out, bool* exact, bool* overflow) {
  if (inPointer == nullptr || out == nullptr) return ORV_MATH_INVALID_ARGUMENT;
  const OrvRatio in = *inPointer;
  Store(overflow, false);
  if (in.den == 0 || newDen == 0) {
    *out = {0, 0};
    return ORV_MATH_ZERO_DENOMINATOR;
  }
  bool isOverflow = false;
  const int32_t num = ConvertedNumerator(in.num, in.den, newDen, &isOverflow);
  Store(overflow, isOverflow);
  *out = isOverflow ? OrvRatio{0, 0} : OrvRatio{num, newDen};
  const bool isExact = !isOverflow && static_cast<double>(in.num) * newDen == static_cast<double>(num) * in.den;
  Store(exact, isExact);
  return ORV_MATH_OK;
}

int32_t M_ShortConvRatio(int32_t num, uint32_t den, uint32_t newDen, int32_t* out, bool* overflow) {
  if (out == nullptr) return ORV_MATH_INVALID_ARGUMENT;
  Store(overflow, false);
  *out = 0;
  if (den == 0 || newDen == 0) return ORV_MATH_ZERO_DENOMINATOR;
  bool isOverflow = false;
  *out = ConvertedNumerator(num, den, newDen, &isOverflow);
  Store(overflow, isOverflow);
  return isOverflow && overflow == nullptr ? ORV_MATH_INVALID_ARGUMENT : ORV_MATH_OK;
}

int32_t M_FpLong2Ratio(double x, OrvRatio* out, bool* overflow) {
  constexpr int32_t kBound = 1 << 30;
  if (out == nullptr || overflow == nullptr) return ORV_MATH_INVALID_ARGUMENT;
  *overflow = !(std::fabs(x) < 0x1p31);  // NaN included
  *out = *overflow ? OrvRatio{0, 0} : orvandel::ApproximateRatio(static_cast<float>(x), kBound);
  return ORV_MATH_OK;
}
