// Scan conversion of a stroke's pieces, row by row of subsamples.
#pragma once

#include <cstdint>

#include "effect/host/effect_context.h"
#include "effect/render/reference/stroke_edges.h"

namespace orvandel {

// One subsample column of the row under work.
struct RowCell {
  enum Flag : std::uint16_t {
    kCrossed = 1,  // toggled by every outline crossing in this cell
    kHasIndex = 2
  };

  std::int16_t index = 0;   // into the profile table; 501 and more: beyond the band, not drawn
  std::uint16_t flags = 0;  // 0 between rows
};

// The cells of a row, addressed by subsample column. All zero between rows.
class RowBuffer {
 public:
  RowBuffer(std::int32_t firstColumn, std::int32_t lastColumn)
      : firstColumn_(firstColumn), cells_(static_cast<std::size_t>(std::int64_t{lastColumn} - firstColumn + 1)) {}

  RowCell& At(std::int32_t column) { return cells_[static_cast<std::size_t>(std::int64_t{column} - firstColumn_)]; }

 private:
  std::int32_t firstColumn_;
  HeapVector<RowCell> cells_;
};

// Cells `first` to `last`, both included.
struct Span {
  std::int32_t first, last;
};

// Marks the cells of one piece on the current row, touching none left of `lo` or right of `hi`. Returns whether it
// touched any, and which, in `touched`.
bool ScanPieceRow(const StrokePiece& piece, const HeapVector<StrokeEdge>& edges, RowBuffer& row, std::int32_t lo,
                  std::int32_t hi, Span& touched);

// Draws the stroke into `output`. Returns 0 or the host's code that stopped it; what was scanned until then is drawn.
// `geometry.bounds` is not empty.
std::int32_t ScanStroke(EffectContext& context, const ImageBuffer& output, StrokeGeometry& geometry);

}  // namespace orvandel
