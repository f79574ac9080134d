#include "plugins/frei0r/over.h"

#include <cstring>

namespace orvandel::frei0r {
namespace {

void LayPixel(const std::uint8_t* below, std::uint8_t* top) {
  const std::uint32_t alpha = top[3];
  const std::uint32_t rest = (255 - alpha) * below[3];  // of 255 * 255
  const std::uint32_t whole = alpha * 255 + rest;
  for (int c = 0; c < 3; ++c) {
    top[c] = static_cast<std::uint8_t>((top[c] * alpha * 255 + below[c] * rest + whole / 2) / whole);
  }
  top[3] = static_cast<std::uint8_t>((whole + 127) / 255);
}

void LayOverOpaque(const std::uint8_t* below, std::uint8_t* top) {
  const std::uint32_t alpha = top[3];
  for (int c = 0; c < 3; ++c) {
    top[c] = static_cast<std::uint8_t>((top[c] * alpha + below[c] * (255 - alpha) + 127) / 255);
  }
  top[3] = 255;
}

}  // namespace

void LayOver(const std::uint8_t* below, std::uint8_t* top, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels; ++i, below += 4, top += 4) {
    if (top[3] == 255) continue;
    if (top[3] == 0) {
      std::memcpy(top, below, 4);
    } else if (below[3] == 255) {
      LayOverOpaque(below, top);
    } else {
      LayPixel(below, top);
    }
  }
}

}  // namespace orvandel::frei0r
