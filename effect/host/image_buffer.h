// A view of one image: rows, stride, byte order. The pixels belong to whoever made them, usually the host.
#pragma once

#include <cstddef>
#include <cstdint>

#include "orvandel/types.h"

namespace orvandel {

// Pixels are 4 bytes in memory order alpha, red, green, blue, colour straight; row 0 is the top row.
struct ImageBuffer {
  std::uint8_t* data = nullptr;  // first byte of row 0; null: no image
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::int32_t rowBytes = 0;    // signed; may exceed width x 4
  std::int32_t rowPadding = 0;  // rowBytes - width x 4
  // The rest of the host's record, unchanged, so that the image can be handed back to it.
  std::uint32_t imageFlags = 0;
  void* hostData = nullptr;

  static ImageBuffer FromHost(const OrvImage& image) {
    // In 64 bits: a damaged record may claim any width.
    const std::int64_t padding = image.rowBytes - std::int64_t{image.width} * 4;
    return {image.data,       image.width,   image.height, image.rowBytes, static_cast<std::int32_t>(padding),
            image.imageFlags, image.hostData};
  }

  bool HasPixels() const { return data != nullptr && width > 0 && height > 0; }
  std::uint8_t* Row(std::int32_t y) const { return data + static_cast<std::ptrdiff_t>(y) * rowBytes; }
};

}  // namespace orvandel
