// What both drawing codes know of the picture: how it repeats beyond its edges, and how its rows are cleared.
//
// Columns and rows of a stroke are unfolded: they may lie anywhere. The picture repeats beyond its edges as in a mirror
// that stands on the pixel's border: 0 1 .. N-1 N-1 .. 1 0 0 1 .. No write can therefore leave the picture.
#pragma once

#include <cstdint>

#include "effect/host/image_buffer.h"

namespace orvandel {

// Rows `first` to `end` - 1, as far as the picture has them, become transparent black. Bytes behind the last pixel of a
// row stay as they are.
void ClearRows(const ImageBuffer& output, std::int32_t first, std::int32_t end);

inline std::int64_t FloorDivide(std::int64_t value, std::int64_t divisor) {
  return (value >= 0 ? value : value - divisor + 1) / divisor;
}

// Whether `coordinate` lies in a mirrored repetition of 0..size-1.
inline bool IsMirrored(std::int64_t coordinate, std::int64_t size) { return FloorDivide(coordinate, size) % 2 != 0; }

// The position in 0..size-1 that `coordinate` folds to; size > 0.
inline std::int64_t MirrorFold(std::int64_t coordinate, std::int64_t size) {
  const std::int64_t rest = coordinate - FloorDivide(coordinate, size) * size;
  return IsMirrored(coordinate, size) ? size - 1 - rest : rest;
}

}  // namespace orvandel
