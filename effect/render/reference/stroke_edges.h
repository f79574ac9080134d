// The band of a stroke as straight edges and four-sided pieces, one piece per outline segment.
//
// u runs across the band: 0 on the outline, 1 on its inner edge. Every edge carries its own x and u and is stepped from
// row to row; a piece knows which of its four edges bound it on the left and on the right.
#pragma once

#include <cstdint>

#include "effect/base/geometry.h"
#include "effect/render/stroke/stroke_look.h"

namespace orvandel {

// The band's inner corners, one per outline point; `width` is in the unit of the points. A corner that has no finite
// offset point keeps the outline point.
SubsampleOutline MakeOffsetPoints(const PlacedOutline& points, float width, const StrokeTransform& transform);

// False when a point is not finite or lies beyond kFarthestSubsample.
bool TransformPoints(const PlacedOutline& points, const StrokeTransform& transform, SubsampleOutline& target);

enum EdgeKind : std::int32_t {
  kOutlineEdge = 0,  // u = 0 along it
  kOffsetEdge = 1,   // u = 1 along it
  kRuling = 2        // from an outline point (u = 0) to its offset point (u = 1)
};

using EdgeIndex = std::int32_t;
using PieceIndex = std::int32_t;
inline constexpr EdgeIndex kNoEdge = 0;
inline constexpr PieceIndex kNoPiece = -1;

struct StrokeEdge {
  std::int32_t edgeKind = kOutlineEdge;
  // x and u on the current row, and their change per row. Until the first row: the values at `yStart`.
  float x = 0, dxdy = 0;
  float u = 0, dudy = 0;
  float yStart = 0;           // first row that the edge takes part in; the last one lies below y1
  std::uint8_t firstRow = 0;  // not yet stepped on its first row
  std::uint8_t active = 0;    // in the scan's list of active edges
  float x0 = 0, y0 = 0;       // top end
  float x1 = 0, y1 = 0;       // bottom end
  PieceIndex pieces[2] = {kNoPiece, kNoPiece};
};

struct StrokePiece {
  // [0] and [3]: the segment's outline and offset edge, in the order they stand from left to right; [1] and [2]: the
  // rulings at its ends, [1] the one further left. kNoEdge where there is none.
  EdgeIndex edges[4] = {kNoEdge, kNoEdge, kNoEdge, kNoEdge};
  bool outlineLeft = true;   // [0] is the outline edge; else [3] is
  std::uint8_t inChain = 0;  // among the scan's live pieces
};

// All that the scan needs. The scan steps the edges, so a geometry is good for one scan.
struct StrokeGeometry {
  HeapVector<StrokeEdge> edges;      // in creation order; edges[kNoEdge] stands for every missing one, never active
  HeapVector<StrokePiece> pieces;    // one per outline segment, by the segment's first point
  HeapVector<EdgeIndex> byFirstRow;  // the real edges, ascending by yStart, equal ones in creation order
  StrokeBounds bounds;
  std::int32_t quality = 1;  // subsamples per output pixel in both directions
  OrvPixel color{};
  const ProfileTable* table = nullptr;
  bool reflection = false;
};

// Edges, pieces, order and bounds of the band between `points` and `offsets` (both clockwise on the screen). The
// remaining fields are the caller's to set.
StrokeGeometry BuildStrokeGeometry(const SubsampleOutline& points, const SubsampleOutline& offsets);

}  // namespace orvandel
