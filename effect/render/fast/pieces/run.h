// One piece on one row as samples, in the plain scan's arithmetic.
#pragma once

#include "effect/render/fast/pieces/piece_walk.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

inline constexpr std::int32_t kFirstDropped = 501;
inline constexpr float kEntriesPerBand = 500.0F;

struct Samples {
  std::int32_t first, count;  // count may be 0: crossings only
  float u, dudx;              // u of the first sample, and its change per column
};

// False when the piece leaves no trace on the row.
inline bool MakeSamples(const Cut& cut, std::int32_t lo, std::int32_t hi, Samples& run) {
  const std::int32_t first = Floor(cut.leftX);
  Columns columns;
  if (!ClipColumns(cut.leftX, cut.rightX, lo, hi, columns)) return false;
  run = {columns.first, columns.last - columns.first, 0.0F, 0.0F};
  const float extent = cut.rightX - cut.leftX;
  if (extent != 0.0F) {
    run.dudx = (cut.rightU - cut.leftU) / extent;
    const float u = (1.0F - (cut.leftX - static_cast<float>(first))) * run.dudx + cut.leftU;
    run.u = 0.0F < u ? u : 0.0F;
  }
  if (first < lo) run.u = run.u + static_cast<float>(lo - first) * run.dudx;
  return true;
}

// For any u; kIndexEntries - 1 stands for all that is larger.
inline std::int32_t SafeIndexAt(float u) {
  const float scaled = u * kEntriesPerBand;
  if (!(scaled > 0.0F)) return 0;
  return scaled < static_cast<float>(kIndexEntries - 1) ? static_cast<std::int32_t>(scaled) : kIndexEntries - 1;
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS
