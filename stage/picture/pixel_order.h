// Between the order of bytes that the effect has, alpha first, and the one that most others take: red, green, blue,
// alpha.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvandel::stage {

// In place.
void AlphaLast(std::uint8_t* row, std::size_t pixels);
void AlphaFirst(std::uint8_t* row, std::size_t pixels);

}  // namespace orvandel::stage
