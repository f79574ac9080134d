#include "plugins/bridge/pixel_order.h"

#include <cstring>

namespace orvandel::bridge {
namespace {

// Whole words, so that the compiler makes vectors of them. Bytes lie in memory order, the lowest first.
template <int kRight>
void Turn(std::uint8_t* row, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels; ++i) {
    std::uint32_t word;
    std::memcpy(&word, row + 4 * i, sizeof word);
    word = word >> kRight | word << (32 - kRight);
    std::memcpy(row + 4 * i, &word, sizeof word);
  }
}

}  // namespace

void AlphaLast(std::uint8_t* row, std::size_t pixels) { Turn<8>(row, pixels); }
void AlphaFirst(std::uint8_t* row, std::size_t pixels) { Turn<24>(row, pixels); }

}  // namespace orvandel::bridge
