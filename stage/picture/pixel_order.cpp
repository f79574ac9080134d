#include "stage/picture/pixel_order.h"

#include <cstring>

namespace orvandel::stage {
namespace {

// Bytes lie in memory order, the lowest first.
template <int kRight, typename Words>
void TurnWords(std::uint8_t* at) {
  Words words;
  std::memcpy(&words, at, sizeof words);
  words = words >> kRight | words << (32 - kRight);
  std::memcpy(at, &words, sizeof words);
}

// Eight pixels at once, in whatever vectors the machine has.
template <int kRight>
void Turn(std::uint8_t* row, std::size_t pixels) {
  using Eight = std::uint32_t __attribute__((vector_size(32)));
  std::size_t i = 0;
  for (; i + 8 <= pixels; i += 8) TurnWords<kRight, Eight>(row + 4 * i);
  for (; i < pixels; ++i) TurnWords<kRight, std::uint32_t>(row + 4 * i);
}

}  // namespace

void AlphaLast(std::uint8_t* row, std::size_t pixels) { Turn<8>(row, pixels); }
void AlphaFirst(std::uint8_t* row, std::size_t pixels) { Turn<24>(row, pixels); }

}  // namespace orvandel::stage
