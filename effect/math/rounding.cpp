// Rounding and the floating remainder. M_fmod reduces every angle of the effect, so its operations are part of what
// decides pixels: the library's exact remainder differs from it in the last bits.
#include <cmath>

#include "effect/base/float_rules.h"
#include "orvandel/math_routines.h"

using orvandel::TruncateToInt;

int32_t M_RoundDouble(double d) {
  if (d > 0) return TruncateToInt(d + 0.5);
  const double up = d + 0.5;
  const bool isHalf = up == std::trunc(up);
  return TruncateToInt(isHalf ? d : d - 0.5);
}

double M_fmod(double x, double y) {
  if (x == 0 || y == 0) return 0;
  const double quotient = x / y;
  const double whole = quotient < 0 ? std::ceil(quotient) : std::floor(quotient);
  return x - whole * y;
}
