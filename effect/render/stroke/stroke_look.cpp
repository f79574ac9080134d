#include "effect/render/stroke/stroke_look.h"

#include <algorithm>

namespace orvandel {

void ClipBounds(StrokeBounds& bounds, const ImageBuffer& output, std::int32_t quality) {
  const auto cut = [quality](std::int32_t limit, std::int32_t size) {
    return static_cast<std::int32_t>(std::min<std::int64_t>(limit, std::int64_t{size} * quality));
  };
  bounds.xMin = std::max(bounds.xMin, 0);
  bounds.xMax = cut(bounds.xMax, output.width);
  bounds.yMax = cut(bounds.yMax, output.height);
}

}  // namespace orvandel
