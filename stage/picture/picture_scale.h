// Pictures at another size: block averaging for downsampled renders, bicubic stretching for a plate that does not fit.
#pragma once

#include <cstdint>

#include "stage/picture/picture.h"

namespace orvandel::stage {

// The pixels of a side at 1/factor, rounded up.
inline std::int32_t CellsOf(std::int32_t side, std::int32_t factor) {
  return side / factor + (side % factor != 0 ? 1 : 0);
}

// Each block of factor x factor pixels, cut at the right and bottom edge, becomes one pixel: with n pixels, A the sum
// of alpha and C that of colour x alpha, alpha is (2A + n) / 2n and colour (2C + A) / 2A in integers; all zero when
// A is 0. The size is rounded up.
Picture AverageBlocks(const Picture& picture, std::int32_t factor);

// Bicubic (Catmull-Rom), on colour weighted with alpha so that invisible colours do not bleed; widened when shrinking,
// so that every pixel of the source counts. Edges repeat.
Picture StretchBicubic(const Picture& picture, std::int32_t width, std::int32_t height);

}  // namespace orvandel::stage
