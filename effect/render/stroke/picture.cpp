#include "effect/render/stroke/picture.h"

#include <algorithm>
#include <cstring>

namespace orvandel {

void ClearRows(const ImageBuffer& output, std::int32_t first, std::int32_t end) {
  const std::size_t rowLength = static_cast<std::size_t>(output.width) * sizeof(OrvPixel);
  end = std::min(end, output.height);
  if (first >= end) return;
  if (output.rowBytes == static_cast<std::ptrdiff_t>(rowLength)) {
    std::memset(output.Row(first), 0, static_cast<std::size_t>(end - first) * rowLength);
  } else {
    for (std::int32_t y = first; y < end; ++y) std::memset(output.Row(y), 0, rowLength);
  }
}

}  // namespace orvandel
