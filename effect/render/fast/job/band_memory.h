// The memory that bands are drawn with, cut for strokes of a certain size.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/render/fast/job/arena.h"
#include "effect/render/fast/job/stroke_job.h"

namespace orvandel::fast {

// Sizes of one pixel row's marks.
struct RowSizes {
  std::size_t wordStride, dirtyStride, counterStride;
  std::int32_t columnRoom;

  RowSizes(std::int32_t words, std::int32_t quality);
};

// What a stroke's bands need. Memory for one plan serves every stroke whose plan it covers.
struct BandPlan {
  std::int32_t words = 0;  // a pixel row
  std::int32_t quality = 0;
  std::int32_t rows = 0;  // pixel rows a band
  bool varies = false;    // for profiles that vary; flat ones do with less

  bool Covers(const BandPlan& other) const {
    return words >= other.words && quality == other.quality && rows == other.rows && (varies || !other.varies);
  }
};

// Words that `columns` subsample columns touch at most.
std::int32_t WordsFor(std::int32_t columns, std::int32_t quality);
// The most that a stroke within the picture touches, or one as wide as they get.
std::int32_t WordsOfPicture(std::int32_t width, std::int32_t quality);

// Pixel rows a band of strokes within a picture should have.
std::int32_t BandRows(std::int32_t pictureWidth, std::int32_t quality, bool varies);

void LayBand(Arena& arena, const BandPlan& plan, BandMemory& memory);
// Sets to 0 what has to be between bands.
void ClearBand(const BandPlan& plan, const BandMemory& memory);

}  // namespace orvandel::fast
