#include "stage/picture/pixel_order.h"

#include <cstring>

namespace orvandel::stage {
namespace {

// Four pixels at once, in vectors that every machine has: wider ones are cut where it has none, by way of memory. Bytes
// lie in memory order, the lowest first.
using Four = std::uint32_t __attribute__((vector_size(16)));
using FourBytes = std::uint8_t __attribute__((vector_size(16)));
using OneBytes = std::uint8_t __attribute__((vector_size(4)));
using FourHalves = std::uint16_t __attribute__((vector_size(16)));
using OneHalves = std::uint16_t __attribute__((vector_size(4)));

template <typename Words, typename Halves>
void CopyHalves(const Words& words, Halves& halves) {
  std::memcpy(&halves, &words, sizeof halves);
}

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
  for (; i + 4 <= pixels; i += 4) TurnWords<kRight, Four>(row + 4 * i, out + 4 * i);
  for (; i < pixels; ++i) TurnWords<kRight, std::uint32_t>(row + 4 * i, out + 4 * i);
}

template <typename Words>
void ReverseWords(const std::uint8_t* row, std::uint8_t* out) {
  Words words;
  std::memcpy(&words, row, sizeof words);
  words = (words & 0xFF00FFU) << 8 | (words >> 8 & 0xFF00FFU);
  StoreTurned<16>(words, out);
}

// Every second sample of some pixels over those of opaque ones: both by their shares of 255, rounded. The quotient is
// exact for all that 16 bits hold.
template <typename Halves>
void MixHalves(Halves& samples, const Halves& behind, const Halves& alpha) {
  samples = samples * alpha + behind * (0xFF - alpha) + 0x7F;
  samples = (samples + 1 + (samples >> 8)) >> 8;
}

bool IsTransparent(std::uint32_t word) { return (word & 0xFFU) == 0; }
bool IsTransparent(const Four& words) {
  std::uint64_t halves[2];
  std::memcpy(halves, &words, sizeof halves);
  return ((halves[0] | halves[1]) & 0xFF000000FFU) == 0;
}

template <typename Words, typename Halves>
void OverWords(const std::uint8_t* row, const std::uint8_t* behind, std::uint8_t* out) {
  Words words, below = Words{} | 0xFFU;
  std::memcpy(&words, row, sizeof words);
  if (behind != nullptr) std::memcpy(&below, behind, sizeof below);
  if (IsTransparent(words)) {  // most of a picture
    std::memcpy(out, &below, sizeof below);
    return;
  }
  const Words alphas = words & 0xFFU;
  Halves alpha, green, others, belowGreen, belowOthers;
  CopyHalves(alphas | alphas << 16, alpha);
  CopyHalves(words & 0xFF00FFU, green);
  CopyHalves(words >> 8 & 0xFF00FFU, others);
  CopyHalves(below & 0xFF00FFU, belowGreen);
  CopyHalves(below >> 8 & 0xFF00FFU, belowOthers);
  MixHalves(green, belowGreen, alpha);
  MixHalves(others, belowOthers, alpha);
  Words greens, redsAndBlues;
  std::memcpy(&greens, &green, sizeof greens);
  std::memcpy(&redsAndBlues, &others, sizeof redsAndBlues);
  words = 0xFFU | (greens & 0xFF0000U) | redsAndBlues << 8;
  std::memcpy(out, &words, sizeof words);
}

template <typename Words, typename Bytes>
void StoreDifference(const std::uint8_t* row, const std::uint8_t* other, std::uint8_t* out) {
  Bytes here, there;
  std::memcpy(&here, row, sizeof here);
  std::memcpy(&there, other, sizeof there);
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
  for (; i + 4 <= pixels; i += 4) ReverseWords<Four>(row + 4 * i, out + 4 * i);
  for (; i < pixels; ++i) ReverseWords<std::uint32_t>(row + 4 * i, out + 4 * i);
}

void CopyOverBlack(const std::uint8_t* row, std::uint8_t* out, std::size_t pixels) {
  std::size_t i = 0;
  for (; i + 4 <= pixels; i += 4) OverWords<Four, FourHalves>(row + 4 * i, nullptr, out + 4 * i);
  for (; i < pixels; ++i) OverWords<std::uint32_t, OneHalves>(row + 4 * i, nullptr, out + 4 * i);
}

void CopyOver(const std::uint8_t* row, const std::uint8_t* behind, std::uint8_t* out, std::size_t pixels) {
  std::size_t i = 0;
  for (; i + 4 <= pixels; i += 4) OverWords<Four, FourHalves>(row + 4 * i, behind + 4 * i, out + 4 * i);
  for (; i < pixels; ++i) OverWords<std::uint32_t, OneHalves>(row + 4 * i, behind + 4 * i, out + 4 * i);
}

void DifferenceAlphaLast(const std::uint8_t* row, const std::uint8_t* other, std::uint8_t* out, std::size_t pixels) {
  std::size_t i = 0;
  for (; i + 4 <= pixels; i += 4) StoreDifference<Four, FourBytes>(row + 4 * i, other + 4 * i, out + 4 * i);
  for (; i < pixels; ++i) StoreDifference<std::uint32_t, OneBytes>(row + 4 * i, other + 4 * i, out + 4 * i);
}

std::size_t CountVisible(const std::uint8_t* row, std::size_t pixels) {
  Four seen{};
  std::size_t i = 0;
  for (; i + 4 <= pixels; i += 4) {
    Four words;
    std::memcpy(&words, row + 4 * i, sizeof words);
    seen -= reinterpret_cast<Four>((words & 0xFFU) != 0);  // -1 where it is true
  }
  std::size_t count = 0;
  for (int lane = 0; lane < 4; ++lane) count += seen[lane];
  for (; i < pixels; ++i) count += row[4 * i] != 0 ? 1 : 0;
  return count;
}

}  // namespace orvandel::stage
