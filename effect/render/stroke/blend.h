// One straight-alpha pixel over another, in integers.
#pragma once

#include <cstdint>

#include "orvandel/types.h"

namespace orvandel {

// Blends `b` (the stroke's colour carrying the sample's alpha) with `a` (what the picture holds).
// The channels are averaged in proportion to the two alphas, the alphas combine as 1 - (1 - a)(1 - b). Both weights are
// truncated, so their sum can be 65535 and two equal channels can come out one level lower.
inline void BlendPixel(OrvPixel& destination, OrvPixel a, OrvPixel b) {
  if (a.alpha == 0) {
    destination = b;
    return;
  }
  if (b.alpha == 0) {
    destination = a;
    return;
  }
  const std::uint32_t alphaA = a.alpha;
  const std::uint32_t alphaB = b.alpha;
  const std::uint32_t weightA = alphaA * 65536U / (alphaA + alphaB);
  const std::uint32_t weightB = alphaB * 65536U / (alphaA + alphaB);
  const auto mix = [&](std::uint8_t channelA, std::uint8_t channelB) {
    return static_cast<std::uint8_t>((channelB * weightB + channelA * weightA) >> 16);
  };
  destination = {static_cast<std::uint8_t>(255 - (255 - alphaA) * (255 - alphaB) / 255), mix(a.red, b.red),
                 mix(a.green, b.green), mix(a.blue, b.blue)};
}

}  // namespace orvandel
