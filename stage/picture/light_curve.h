// The sRGB curve both ways as tables of whole numbers, so that sums of light and what becomes of them are the same
// everywhere.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace orvandel::stage {

// Linear light is counted in whole numbers up to 2^24, finer than 16 bits of the curve at its foot.
inline constexpr std::uint32_t kFullLight = 1u << 24;

class LightCurve {
 public:
  static const LightCurve& The();

  // Of a stored value with 16 bits.
  std::uint32_t Light(std::uint16_t stored) const { return light_[stored]; }
  // The stored value nearest to `light`, at most kFullLight.
  std::uint16_t Stored(std::uint32_t light) const {
    if (light >= kDark) return Climb(coarse_[light >> 8], light);
    const std::uint16_t word = fine_[light >> 4];  // at most one lies in a step
    return static_cast<std::uint16_t>(word + (from_[word + std::size_t{1}] <= light ? 1 : 0));
  }

 private:
  static constexpr std::uint32_t kDark = kFullLight / 16;  // below it a step of 256 has up to 13 stored values

  LightCurve();
  std::uint16_t Climb(std::uint16_t word, std::uint32_t light) const {
    while (word < 65535 && from_[word + std::size_t{1}] <= light) ++word;
    return word;
  }

  std::vector<std::uint32_t> light_;   // of every stored value
  std::vector<std::uint32_t> from_;    // where each stored value begins
  std::vector<std::uint16_t> coarse_;  // the stored value at every 256th step of light
  std::vector<std::uint16_t> fine_;    // and at every 16th where it is dark
};

}  // namespace orvandel::stage
