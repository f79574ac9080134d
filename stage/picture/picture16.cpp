#include "stage/picture/picture16.h"

#include <algorithm>

namespace orvandel::stage {

Picture Narrowed(const Picture16& picture) {
  Picture narrow(picture.width, picture.height);
  std::transform(picture.words.begin(), picture.words.end(), narrow.bytes.begin(), EightBits);
  return narrow;
}

Picture16 Widened(const PictureRows& rows) {
  Picture16 wide(rows.width, rows.height);
  for (std::int32_t y = 0; y < rows.height; ++y) {
    const std::uint8_t* const row = rows.Row(y);
    std::transform(row, row + rows.RowSize(), wide.words.data() + rows.RowSize() * static_cast<std::size_t>(y),
                   SixteenBits);
  }
  return wide;
}

}  // namespace orvandel::stage
