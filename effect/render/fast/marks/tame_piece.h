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
  std::int32_t firstGroup, end;          // rows

  // Rows y .. rowEnd - 1 of a piece, y < rowEnd. False when its steps are not alike. `xBehind`: x on row `rowEnd` of
  // the edges that go on there.
  bool Fill(const LivePiece& piece, std::int32_t y, std::int32_t rowEnd, std::int32_t bandRow, FourFloats& xBehind) {
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
    firstGroup = y - ((y - bandRow) & (kTameRows - 1));
    end = rowEnd;
    xBehind = even.end;
    return even.all;
  }

  // The cells of rows y .. y + kTameRows - 1. Where only one edge is active there is no crossing, and at most a run
  // without samples.
  ORVANDEL_INLINE void Cut(std::int32_t y, const DrawJob& job, std::int32_t firstColumn,
                           CellLanes<TameInts>& cells) const {
    using TameUints = Vec<std::uint32_t, kTameRows>;
    const TameInts lane = LaneNumbers<TameInts>();
    TameFloats at[4];
    TameInts row[4], active[4];  // rows from the edge's first
    const auto isBefore = [&](int slot, std::int32_t count) __attribute__((always_inline)) {
      return (TameInts)((TameUints)row[slot] < static_cast<std::uint32_t>(count));
    };
    for (int slot = 0; slot < 4; ++slot) {
      row[slot] = WrappingSum(lane, TameInts{} + static_cast<std::int32_t>(static_cast<std::uint32_t>(y) -
                                                                           static_cast<std::uint32_t>(start[slot])));
      active[slot] = isBefore(slot, rows[slot]);
      at[slot] = ExactMultiplyAdd(ToFloats(row[slot]), TameFloats{} + step[slot], TameFloats{} + x[slot]);
    }
    const auto nearest = [&](int a, int b, int c, float none) __attribute__((always_inline)) {
      return active[a] ? at[a] : (active[b] ? at[b] : (active[c] ? at[c] : TameFloats{} + none));
    };
    const TameInts inner = active[1] | active[2];
    CutLanes(nearest(0, 1, 2, 1e30F), nearest(3, 2, 1, -1e30F), (inner | active[3]) & isBefore(0, rowsAtLeft),
             (inner | active[0]) & isBefore(3, rowsAtRight), ~TameInts{}, job, firstColumn, cells);
  }
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
