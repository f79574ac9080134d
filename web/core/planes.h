// Pictures as film decoders leave them: brightness in one plane, colour in two that are often smaller, perhaps alpha.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "stage/picture/picture.h"

namespace orvandel::web {

struct Planes {
  // Where a plane's samples lie among the bytes: the first one, the next row's first, the next one.
  struct Plane {
    std::int32_t offset, rowBytes, sampleBytes;
  };
  enum Matrix : std::int32_t { kBt601, kBt709, kBt2020 };

  std::int32_t halfWidth, halfHeight;  // of the colour planes: 1, they have one sample for two
  std::int32_t bits;                   // a sample: 8, or up to 16 in two bytes, the low one first
  std::int32_t matrix;
  std::int32_t fullRange;  // 0: brightness from 16 to 235 in 8 bits
  std::int32_t hasAlpha;
  std::array<Plane, 4> planes;  // brightness, blue, red, alpha
};

// By the program's own rules: colour planes are spread with the same cubic curve, samples between them in both
// directions. InputError where they do not lie within `bytes`.
stage::Picture PictureOf(const Planes& planes, std::int32_t width, std::int32_t height,
                         std::span<const std::uint8_t> bytes);

}  // namespace orvandel::web
