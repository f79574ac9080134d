// A picture in memory with 16 bits a channel, straight alpha: words alpha, red, green, blue, rows packed from the top.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "stage/picture/picture_rows.h"

namespace orvandel::stage {

struct Picture16 {
  std::int32_t width = 0, height = 0;
  std::vector<std::uint16_t> words;  // width * height * 4

  Picture16() = default;
  Picture16(std::int32_t w, std::int32_t h)
      : width(w), height(h), words(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4) {}
};

// 16-bit samples become 8-bit ones so that both ends of the range meet and the nearest value is taken.
inline std::uint8_t EightBits(std::uint32_t sixteenBits) {
  return static_cast<std::uint8_t>((sixteenBits * 255 + 32767) / 65535);
}

// 8-bit samples at the same places of the range: EightBits gives them back.
inline std::uint16_t SixteenBits(std::uint8_t eightBits) { return static_cast<std::uint16_t>(eightBits * 257); }

Picture Narrowed(const Picture16& picture);
Picture16 Widened(const PictureRows& rows);

}  // namespace orvandel::stage
