// Small pictures of a film side by side, each with its frame's number.
#pragma once

#include <cstdint>

#include "stage/picture/picture.h"

namespace orvandel::cli {

class ContactSheet {
 public:
  // `count` cells of `width` x `height` in rows of `columns`. Throws WorkError when that makes an absurd picture.
  ContactSheet(std::int32_t width, std::int32_t height, std::int32_t count, std::int32_t columns,
               std::uint32_t background);  // 0xrrggbb

  // The next cell: the picture, of the cells' size, over the background, and the number below it.
  void Add(const stage::Picture& picture, std::int32_t number);
  const stage::Picture& Result() const { return sheet_; }

 private:
  void WriteNumber(std::int32_t x, std::int32_t y, std::int32_t number);
  void Fill(std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height, std::uint8_t grey);

  std::int32_t width_, height_, columns_;
  std::int32_t next_ = 0;
  std::uint8_t ink_;  // grey that stands out from the background
  stage::Picture sheet_;
};

}  // namespace orvandel::cli
