// A picture that lies in somebody else's memory: 8-bit straight alpha, bytes alpha, red, green, blue.
#pragma once

#include <cstddef>
#include <cstdint>

#include "stage/picture/picture.h"

namespace orvandel::stage {

struct PictureRows {
  std::int32_t width = 0, height = 0;
  const std::uint8_t* top = nullptr;
  std::ptrdiff_t rowBytes = 0;

  PictureRows() = default;
  PictureRows(std::int32_t w, std::int32_t h, const std::uint8_t* first, std::ptrdiff_t bytes)
      : width(w), height(h), top(first), rowBytes(bytes) {}
  PictureRows(const Picture& picture)  // NOLINT(google-explicit-constructor): a picture is rows
      : PictureRows(picture.width, picture.height, picture.bytes.data(), std::ptrdiff_t{picture.width} * 4) {}

  const std::uint8_t* Row(std::int32_t y) const { return top + rowBytes * y; }
  std::size_t RowSize() const { return static_cast<std::size_t>(width) * 4; }
};

// Appended row by row, so that no byte of the result is written twice.
inline Picture CopyOf(const PictureRows& rows) {
  Picture picture;
  picture.width = rows.width;
  picture.height = rows.height;
  picture.bytes.reserve(rows.RowSize() * static_cast<std::size_t>(rows.height));
  for (std::int32_t y = 0; y < rows.height; ++y) {
    picture.bytes.insert(picture.bytes.end(), rows.Row(y), rows.Row(y) + rows.RowSize());
  }
  return picture;
}

}  // namespace orvandel::stage
