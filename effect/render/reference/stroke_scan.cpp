// How a row is drawn
//
// 1. Edges whose first row has come become active, and with them their pieces; edges already active are stepped by one
//    addition for x and one for u; edges that end are dropped, and pieces without an active edge.
// 2. Every live piece marks the cells between its left and its right edge with the profile index of their u. Where
//    pieces overlap, at corners, the smallest index stays: the one nearest the outline. Where an outline edge bounds a
//    piece, its cell is toggled, so that a cell crossed twice counts as not crossed.
// 3. The touched cells are walked from left to right. Cells with an odd number of crossings up to and including their
//    own are inside the shape; those that carry an index are samples and go to the pixel writer.
//
// Invariants, which Check asserts in builds that have assertions
// (a) Between rows every cell of the row buffer is zero: step 3 clears what step 2 touched.
// (b) Inside a row, an active edge's x and u belong to exactly this row: values at yStart, then one addition a row.
//     Multiplying instead would round differently and move samples.
// (c) A piece is in the chain exactly when one of its edges is active.
// (d) Nothing is allocated once the scan has begun: all lists are reserved for the whole stroke.
//
// On rows that no outline edge crosses, parity is even everywhere and nothing can be drawn. A long mitre that leaves
// the shape has many such rows, so their pieces are skipped.

#include "effect/render/reference/stroke_scan.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <limits>

#include "effect/base/float_rules.h"
#include "effect/render/reference/pixel_writer.h"
#include "effect/render/stroke/cut_rule.h"

namespace orvandel {
namespace {

// Where a piece begins and ends on the row, and the u it has there.
struct Cut {
  const StrokeEdge* left;
  const StrokeEdge* right;
  float leftX, rightX;
};

bool CutPiece(const StrokePiece& piece, const HeapVector<StrokeEdge>& all, Cut& cut) {
  const StrokeEdge* edges[4];
  unsigned active = 0;
  for (int i = 0; i < 4; ++i) {
    edges[i] = &all[static_cast<std::size_t>(piece.edges[i])];
    if (edges[i]->active != 0) active |= 1U << i;
  }
  const bool outlineLeft = piece.outlineLeft;
  int left, right;
  if (!FindBounds(
          active, outlineLeft, [&](int slot) { return edges[slot]->x; }, left, right))
    return false;

  cut = {edges[left], edges[right], edges[left]->x, edges[right]->x};
  // The other edge is moved up to the outline.
  if (outlineLeft && left == 0) cut.rightX = std::max(cut.leftX, cut.rightX);
  if (!outlineLeft && right == 3) cut.leftX = std::min(cut.rightX, cut.leftX);
  return true;
}

// The table entry at u. Rounding carries u slightly below 0 on long edges; far above 1, where an edge extends beyond
// the band, the cell's width is the limit. Not a number counts as 0.
std::int16_t IndexAt(float u) {
  constexpr float kEntriesPerBand = 500.0F;
  constexpr std::int16_t kLargest = std::numeric_limits<std::int16_t>::max();
  const float scaled = u * kEntriesPerBand;
  if (!(scaled > 0.0F)) return 0;
  return scaled < kLargest ? static_cast<std::int16_t>(scaled) : kLargest;
}

void MarkIndex(RowCell& cell, std::int16_t index) {
  if ((cell.flags & RowCell::kHasIndex) != 0 && index >= cell.index) return;
  cell.index = index;
  cell.flags |= RowCell::kHasIndex;
}

void ToggleIfOutline(const StrokeEdge& edge, RowCell& cell) {
  if (edge.edgeKind == kOutlineEdge) cell.flags ^= RowCell::kCrossed;
}

void PutSample(DirectWriter& writer, std::uint8_t alpha) { writer.Write(alpha); }
void PutSample(SubsampleAccumulator& writer, std::uint8_t alpha) { writer.Add(alpha); }

// Sorts by first cell and joins spans that overlap or touch.
void MergeSpans(HeapVector<Span>& spans) {
  std::sort(spans.begin(), spans.end(), [](Span a, Span b) { return a.first < b.first; });
  std::size_t merged = 0;
  for (std::size_t i = 1; i < spans.size(); ++i) {
    if (spans[i].first <= spans[merged].last + 1) {
      spans[merged].last = std::max(spans[merged].last, spans[i].last);
    } else {
      spans[++merged] = spans[i];
    }
  }
  spans.resize(spans.empty() ? 0 : merged + 1, Span{});
}

template <typename Writer>
class StrokeScan {
 public:
  StrokeScan(EffectContext& context, StrokeGeometry& geometry, Writer& writer)
      : context_(context),
        geometry_(geometry),
        writer_(writer),
        xFirst_(geometry.bounds.xMin),
        xLast_(geometry.bounds.xMax + 1),
        row_(xFirst_, xLast_ + 1) {
    active_.reserve(geometry.edges.size());
    chain_.reserve(geometry.pieces.size());
    spans_.reserve(geometry.pieces.size());
    room_ = {active_.capacity(), chain_.capacity(), spans_.capacity()};
  }

  std::int32_t Run() {
    const StrokeBounds& bounds = geometry_.bounds;
    const std::int32_t rowsBetweenReports = context_.RowsBetweenReports();
    std::int32_t rows = 0;
    for (std::int32_t y = bounds.yMin; y <= bounds.yMax; ++y) {
      Activate(y);
      StepActive(y);
      DropDeadPieces();
      Check(y);
      if (active_.empty()) continue;
      const bool drawn = geometry_.reflection || y >= 0;
      if (drawn && activeOutlineEdges_ > 0) DrawRow(y);
      if (rows++ % rowsBetweenReports != 0) continue;
      const std::int32_t stop = context_.ReportProgress(y - bounds.yMin, bounds.yMax - bounds.yMin);
      if (stop != 0) return stop;
    }
    return 0;
  }

 private:
  StrokeEdge& Edge(EdgeIndex index) { return geometry_.edges[static_cast<std::size_t>(index)]; }
  StrokePiece& Piece(PieceIndex index) { return geometry_.pieces[static_cast<std::size_t>(index)]; }

  // Rows are compared with edges as doubles: beyond 2^24 a float does not hold every row.
  void Activate(std::int32_t y) {
    while (nextEdge_ < geometry_.byFirstRow.size()) {
      const EdgeIndex index = geometry_.byFirstRow[nextEdge_];
      StrokeEdge& edge = Edge(index);
      if (!(static_cast<double>(edge.yStart) <= y)) break;
      ++nextEdge_;
      active_.push_back(index);
      edge.active = 1;
      if (edge.edgeKind == kOutlineEdge) ++activeOutlineEdges_;
      for (const PieceIndex piece : edge.pieces) {
        if (piece == kNoPiece || Piece(piece).inChain != 0) continue;
        Piece(piece).inChain = 1;
        chain_.push_back(piece);
      }
    }
  }

  // An edge takes part in the rows from its yStart up to, but not including, its lower end.
  void StepActive(std::int32_t y) {
    const auto ends = [this, y](EdgeIndex index) {
      StrokeEdge& edge = Edge(index);
      if (!(y < static_cast<double>(edge.y1))) {
        edge.active = 0;
        if (edge.edgeKind == kOutlineEdge) --activeOutlineEdges_;
        return true;
      }
      if (edge.firstRow == 0) {
        edge.x += edge.dxdy;
        edge.u += edge.dudy;
      }
      edge.firstRow = 0;
      return false;
    };
    active_.erase(std::remove_if(active_.begin(), active_.end(), ends), active_.end());
  }

  void DropDeadPieces() {
    const auto isDead = [this](PieceIndex index) {
      StrokePiece& piece = Piece(index);
      for (const EdgeIndex edge : piece.edges) {
        if (Edge(edge).active != 0) return false;
      }
      piece.inChain = 0;
      return true;
    };
    chain_.erase(std::remove_if(chain_.begin(), chain_.end(), isDead), chain_.end());
  }

  // Asserts the invariants, by their letters at the head of this file.
  void Check([[maybe_unused]] std::int32_t y) {
#if !defined(NDEBUG)
    constexpr std::int32_t kFewRows = 32, kFewCells = 4096;  // more would take longer than the work itself
    if (xLast_ - xFirst_ < kFewCells) {
      for (std::int32_t column = xFirst_; column <= xLast_; ++column) assert(row_.At(column).flags == 0 && "(a)");
    }
    for (const EdgeIndex index : active_) {
      const StrokeEdge& edge = Edge(index);
      assert(edge.active != 0 && static_cast<double>(edge.yStart) <= y && y < static_cast<double>(edge.y1) && "(b)");
      float x = edge.x0 + (edge.yStart - edge.y0) * edge.dxdy;
      const std::int32_t rows = y - static_cast<std::int32_t>(edge.yStart);
      for (std::int32_t row = 0; row < rows && rows < kFewRows; ++row) x += edge.dxdy;
      assert((rows >= kFewRows || edge.x == x || std::isnan(x)) && "(b)");
      for (const PieceIndex piece : edge.pieces) assert((piece == kNoPiece || Piece(piece).inChain != 0) && "(c)");
    }
    for (const PieceIndex index : chain_) {
      const auto isActive = [this](EdgeIndex edge) { return Edge(edge).active != 0; };
      const auto& edges = Piece(index).edges;
      assert(Piece(index).inChain != 0 && std::any_of(std::begin(edges), std::end(edges), isActive) && "(c)");
    }
    assert(active_.capacity() == room_[0] && chain_.capacity() == room_[1] && spans_.capacity() == room_[2] && "(d)");
#endif
  }

  void DrawRow(std::int32_t y) {
    spans_.clear();
    for (const PieceIndex piece : chain_) {
      Span touched;
      if (ScanPieceRow(Piece(piece), geometry_.edges, row_, xFirst_, xLast_, touched)) spans_.push_back(touched);
    }
    if (spans_.empty()) return;
    MergeSpans(spans_);

    writer_.StartRow(xFirst_, y);
    std::int32_t column = xFirst_;
    bool inside = false;
    for (const Span& span : spans_) {
      writer_.Advance(span.first - column);
      for (column = span.first; column <= span.last; ++column) {
        ConsumeCell(row_.At(column), inside);
        writer_.Advance(1);
      }
    }
  }

  void ConsumeCell(RowCell& cell, bool& inside) {
    if ((cell.flags & RowCell::kCrossed) != 0) inside = !inside;
    if (inside && (cell.flags & RowCell::kHasIndex) != 0 && cell.index < kProfileEntries) {
      PutSample(writer_, static_cast<std::uint8_t>((*geometry_.table)[static_cast<std::size_t>(cell.index)] & 0xFF));
    }
    cell.flags = 0;
  }

  EffectContext& context_;
  StrokeGeometry& geometry_;
  Writer& writer_;
  // Columns that pieces may touch. Crossings may fall one column behind the bounds; samples never do.
  std::int32_t xFirst_, xLast_;
  RowBuffer row_;
  std::size_t nextEdge_ = 0;  // into byFirstRow
  HeapVector<EdgeIndex> active_;
  std::int32_t activeOutlineEdges_ = 0;
  HeapVector<PieceIndex> chain_;       // live pieces
  HeapVector<Span> spans_;             // of the current row
  std::array<std::size_t, 3> room_{};  // of the three lists, for Check
};

}  // namespace

bool ScanPieceRow(const StrokePiece& piece, const HeapVector<StrokeEdge>& edges, RowBuffer& row, std::int32_t lo,
                  std::int32_t hi, Span& touched) {
  Cut cut;
  if (!CutPiece(piece, edges, cut)) return false;

  std::int32_t first = TruncateToInt(std::floor(static_cast<double>(cut.leftX)));
  std::int32_t last = TruncateToInt(std::floor(static_cast<double>(cut.rightX)));
  if (first > hi) return false;
  std::int64_t count = std::int64_t{last} - first;

  float dudx = 0.0F;
  float u = 0.0F;
  const float extent = cut.rightX - cut.leftX;
  if (extent != 0.0F) {
    // A cell takes the u of its right border.
    dudx = (cut.right->u - cut.left->u) / extent;
    u = std::max(0.0F, (1.0F - (cut.leftX - static_cast<float>(first))) * dudx + cut.left->u);
  }
  if (first < lo) {
    const std::int64_t hidden = std::int64_t{lo} - first;
    first = lo;
    count -= hidden;
    u = u + static_cast<float>(hidden) * dudx;
  }
  if (last > hi) {
    count -= std::int64_t{last} - hi;
    last = hi;
  }
  last = std::max(last, first);

  ToggleIfOutline(*cut.left, row.At(first));
  RowCell* cell = &row.At(first);
  for (std::int64_t i = 0; i < count; ++i) {
    MarkIndex(cell[i], IndexAt(u));
    u += dudx;
  }
  ToggleIfOutline(*cut.right, row.At(last));
  touched = {first, last};
  return count > 0 || cut.left->edgeKind == kOutlineEdge || cut.right->edgeKind == kOutlineEdge;
}

std::int32_t ScanStroke(EffectContext& context, const ImageBuffer& output, StrokeGeometry& geometry) {
  const StrokeBounds& bounds = geometry.bounds;
  if (geometry.quality == 1) {
    DirectWriter writer(output, geometry.color);
    return StrokeScan<DirectWriter>(context, geometry, writer).Run();
  }
  SubsampleAccumulator writer(output, bounds.xMin, bounds.xMax, geometry.color, geometry.quality);
  const std::int32_t result = StrokeScan<SubsampleAccumulator>(context, geometry, writer).Run();
  writer.Flush();
  return result;
}

}  // namespace orvandel
