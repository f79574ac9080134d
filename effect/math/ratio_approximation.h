// The nearest ratio of bounded terms to a single-precision number.
#pragma once

#include <cstdint>

#include "orvandel/types.h"

namespace orvandel {

// `value` is at most 2^31 from 0. Numerator and denominator of the result are at most `bound`; it is value itself where
// that is possible, and reduced. Values of `bound` and more give bound/1; a bound of 0 or less gives 0/1.
OrvRatio ApproximateRatio(float value, std::int32_t bound) noexcept;

}  // namespace orvandel
