#include "stage/picture/pixel_order.h"

#include <cstring>

namespace orvandel::stage {
namespace {

// Eight pixels at once, in whatever vectors the machine has. Bytes lie in memory order, the lowest first.
using Eight = std::uint32_t __attribute__((vector_size(32)));
using EightBytes = std::uint8_t __attribute__((vector_size(32)));
using OneBytes = std::uint8_t __attribute__((vector_size(4)));

// Vectors are never passed by value: how, depends on the machine.
template <int kRight, typename Words>
void StoreTurned(const Words& words, std::uint8_t* at) {
  const Words turned = words >> kRight | words << (32 - kRight);
  std::memcpy(at, &turned, sizeof turned);
}

template <int kRight, typename Words>
void TurnWords(const std::uint8_t* row, std::uint8_t* out) {
  Words words;
  std::memcpy(&words, row, sizeof words);
  StoreTurned<kRight>(words, out);
}

template <int kRight>
void Turn(const std::uint8_t* row, std::uint8_t* out, std::size_t pixels) {
  std::size_t i = 0;
  for (; i + 8 <= pixels; i += 8) TurnWords<kRight, Eight>(row + 4 * i, out + 4 * i);
  for (; i < pixels; ++i) TurnWords<kRight, std::uint32_t>(row + 4 * i, out + 4 * i);
}

template <typename Words>
void ReverseWords(const std::uint8_t* row, std::uint8_t* out) {
  Words words;
  std::memcpy(&words, row, sizeof words);
  words = (words & 0xFF00FFU) << 8 | (words >> 8 & 0xFF00FFU);
  StoreTurned<16>(words, out);
}

// Two samples at once, 16 bits apart, times the alpha and over 255, rounded: exact for all that 16 bits hold.
template <typename Words>
void OverBlackWords(const std::uint8_t* row, std::uint8_t* out) {
  Words words;
  std::memcpy(&words, row, sizeof words);
  const Words alpha = words & 0xFFU;
  Words green = (words >> 16 & 0xFFU) * alpha + 0x7FU;
  Words others = (words >> 8 & 0xFF00FFU) * alpha + 0x7F007FU;
  green = (green + 1 + (green >> 8)) >> 8;
  others = (others + 0x10001U + (others >> 8 & 0xFF00FFU)) >> 8 & 0xFF00FFU;
  words = 0xFFU | others << 8 | green << 16;
  std::memcpy(out, &words, sizeof words);
}

template <typename Words, typename Bytes>
void StoreDifference(const std::uint8_t* row, const std::uint8_t* above, std::uint8_t* out) {
  Bytes here, there;
  std::memcpy(&here, row, sizeof here);
  std::memcpy(&there, above, sizeof there);
  here -= there;
  Words words;
  std::memcpy(&words, &here, sizeof words);
  StoreTurned<8>(words, out);
}

}  // namespace

void AlphaLast(std::uint8_t* row, std::size_t pixels) { Turn<8>(row, row, pixels); }
void AlphaFirst(std::uint8_t* row, std::size_t pixels) { Turn<24>(row, row, pixels); }
void CopyAlphaLast(const std::uint8_t* row, std::uint8_t* out, std::size_t pixels) { Turn<8>(row, out, pixels); }

void CopyReversed(const std::uint8_t* row, std::uint8_t* out, std::size_t pixels) {
  std::size_t i = 0;
  for (; i + 8 <= pixels; i += 8) ReverseWords<Eight>(row + 4 * i, out + 4 * i);
  for (; i < pixels; ++i) ReverseWords<std::uint32_t>(row + 4 * i, out + 4 * i);
}

void CopyOverBlack(const std::uint8_t* row, std::uint8_t* out, std::size_t pixels) {
  std::size_t i = 0;
  for (; i + 8 <= pixels; i += 8) OverBlackWords<Eight>(row + 4 * i, out + 4 * i);
  for (; i < pixels; ++i) OverBlackWords<std::uint32_t>(row + 4 * i, out + 4 * i);
}

void DifferenceAlphaLast(const std::uint8_t* row, const std::uint8_t* above, std::uint8_t* out, std::size_t pixels) {
  std::size_t i = 0;
  for (; i + 8 <= pixels; i += 8) StoreDifference<Eight, EightBytes>(row + 4 * i, above + 4 * i, out + 4 * i);
  for (; i < pixels; ++i) StoreDifference<std::uint32_t, OneBytes>(row + 4 * i, above + 4 * i, out + 4 * i);
}

std::size_t CountVisible(const std::uint8_t* row, std::size_t pixels) {
  Eight seen{};
  std::size_t i = 0;
  for (; i + 8 <= pixels; i += 8) {
    Eight words;
    std::memcpy(&words, row + 4 * i, sizeof words);
    seen -= reinterpret_cast<Eight>((words & 0xFFU) != 0);  // -1 where it is true
  }
  std::size_t count = 0;
  for (int lane = 0; lane < 8; ++lane) count += seen[lane];
  for (; i < pixels; ++i) count += row[4 * i] != 0 ? 1 : 0;
  return count;
}

}  // namespace orvandel::stage
