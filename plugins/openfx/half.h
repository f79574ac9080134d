// Half floats (binary16) as bits: every half as a float, and a float as the nearest half, ties to even.
#pragma once

#include <cstdint>

namespace orvandel::ofx {

float FloatOfHalf(std::uint16_t half);
std::uint16_t HalfOfFloat(float value);

}  // namespace orvandel::ofx
