// A picture in memory: 8-bit straight alpha, bytes alpha, red, green, blue, rows packed from the top.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orvandel::stage {

struct Picture {
  std::int32_t width = 0, height = 0;
  std::vector<std::uint8_t> bytes;  // width * height * 4

  Picture() = default;
  Picture(std::int32_t w, std::int32_t h)
      : width(w), height(h), bytes(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4) {}
  bool Empty() const { return bytes.empty(); }
};

}  // namespace orvandel::stage
