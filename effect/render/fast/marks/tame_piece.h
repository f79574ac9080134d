// Tame pieces, two groups of rows at a time, all four edges together.
//
// Where no more than two edges are active on any row, a row's two are the first and the last active slot, and which
// slots are active is a mask over rows. So a piece needs no stretches between the rows where edges begin and end. And
// where all steps of an edge are alike, a row's x needs none of the rows before: no chain of additions to wait for.
//
// u is left out: a tame piece is never wild, and its marks do not depend on u.
#pragma once

#include "effect/render/fast/marks/marks.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// Rows cut together.
inline constexpr int kTameRows = 2 * kRowGroup;
using TameFloats = Vec<float, kTameRows>;
using TameInts = Vec<std::int32_t, kTameRows>;

// A piece's edges, by slot, on the rows of a stretch that begins with a group.
struct TamePiece {
  float x[4], step[4];                   // on the edge's first row, and its change per row
  std::int32_t start[4], rows[4];        // that row, and how many rows it takes part in
  std::int32_t rowsAtLeft, rowsAtRight;  // in which the outline is slot 0, and slot 3
  std::int32_t firstGroup, end;          // rows of cells, from the band's first

  // Rows y .. rowEnd - 1 of a piece, y < rowEnd. False when its steps are not alike. `xBehind`: x on row `rowEnd` of
  // the edges that go on there.
  template <int P>
  bool Fill(const LivePiece& piece, std::int32_t y, std::int32_t rowEnd, std::int32_t bandRow, const Grid<P>& grid,
            FourFloats& xBehind) {
    const FourInts first = Load<FourInts>(piece.first), behind = Load<FourInts>(piece.end);
    const FourInts from = Larger(first, FourInts{} + y), to = Smaller(behind, FourInts{} + rowEnd);
    const FourInts count = from < to ? WrappingDifference(to, from) : FourInts{};
    const EvenSteps even = MakeEvenSteps(Load<FourFloats>(piece.x), Load<FourFloats>(piece.dxdy), count);
    Store(x, Load<FourFloats>(piece.x));
    Store(step, even.step);
    Store(start, from);
    Store(rows, count);
    rowsAtLeft = piece.outlineSlot == 0 ? count[0] : 0;
    rowsAtRight = piece.outlineSlot == 0 ? 0 : count[3];
    firstGroup = grid.CellOf(y - bandRow) & -kTameRows;
    end = grid.CellOf(rowEnd - bandRow);
    xBehind = even.end;
    return even.all;
  }
};

// A tame piece's edges with the same number in all lanes.
class TameEdges {
 public:
  explicit TameEdges(const TamePiece& piece)
      : rowsAtLeft_(Spread<TameInts>(piece.rowsAtLeft)), rowsAtRight_(Spread<TameInts>(piece.rowsAtRight)) {
    for (int slot = 0; slot < 4; ++slot) {
      x_[slot] = Spread<TameFloats>(piece.x[slot]);
      step_[slot] = Spread<TameFloats>(piece.step[slot]);
      start_[slot] = Spread<TameInts>(piece.start[slot]);
      rows_[slot] = Spread<TameInts>(piece.rows[slot]);
    }
  }

  // Where only one edge is active on a row there is no crossing, and at most a run without samples.
  template <typename Bounds>
  ORVANDEL_INLINE void Cut(const TameInts& rows, const Bounds& bounds, CellLanes<TameInts>& cells) const {
    TameFloats at[4];
    TameInts row[4];  // from the edge's first
    MaskOf<TameInts> active[4];
    for (int slot = 0; slot < 4; ++slot) {
      row[slot] = WrappingDifference(rows, start_[slot]);
      active[slot] = LessUnsigned(row[slot], rows_[slot]);
      at[slot] = ExactMultiplyAdd(ToFloats(row[slot]), step_[slot], x_[slot]);
    }
    const auto nearest = [&](int a, int b, int c, float none) __attribute__((always_inline)) {
      const TameFloats farthest = Select(active[c], at[c], Spread<TameFloats>(none));
      return Select(active[a], at[a], Select(active[b], at[b], farthest));
    };
    const MaskOf<TameInts> inner = active[1] | active[2];
    CutLanes(nearest(0, 1, 2, 1e30F), nearest(3, 2, 1, -1e30F), (inner | active[3]) & LessUnsigned(row[0], rowsAtLeft_),
             (inner | active[0]) & LessUnsigned(row[3], rowsAtRight_), bounds, cells);
  }

 private:
  TameFloats x_[4], step_[4];
  TameInts start_[4], rows_[4];
  TameInts rowsAtLeft_, rowsAtRight_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
