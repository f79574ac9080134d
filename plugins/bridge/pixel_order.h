// From the effect's order of bytes, alpha first, to what editors take: red, green, blue, alpha.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvandel::bridge {

// In place.
void AlphaLast(std::uint8_t* row, std::size_t pixels);
void AlphaFirst(std::uint8_t* row, std::size_t pixels);

}  // namespace orvandel::bridge
