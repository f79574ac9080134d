#include "stage/picture/picture16.h"

#include <algorithm>

namespace orvandel::stage {

Picture Narrowed(const Picture16& picture) {
  Picture narrow(picture.width, picture.height);
  std::transform(picture.words.begin(), picture.words.end(), narrow.bytes.begin(), EightBits);
  return narrow;
}

Picture16 Widened(const Picture& picture) {
  Picture16 wide(picture.width, picture.height);
  std::transform(picture.bytes.begin(), picture.bytes.end(), wide.words.begin(), SixteenBits);
  return wide;
}

}  // namespace orvandel::stage
