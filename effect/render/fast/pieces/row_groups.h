// Two edges through a group of rows at a time.
//
// x and u of both edges are one vector, so that a step down is one addition for all four; the vectors of a group's
// rows, transposed, are the four values with one row a lane. Groups are of rows of cells and begin at a multiple of
// their number, counted from the band's first; lanes for rows without samples or beyond the run are not stepped and not
// used.
#pragma once

#include "effect/render/fast/pieces/grid.h"
#include "effect/render/fast/pieces/piece_walk.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// Masks for the steps of rows from .. end - 1 of a group: all ones in every lane of step k when row k is one of them,
// and has samples where every fourth has none.
template <bool everyFourthEmpty>
struct StepMasks {
  alignas(16) std::int32_t steps[kRowGroup][kRowGroup + 1][kRowGroup][4];
  constexpr StepMasks() : steps() {
    for (int from = 0; from < kRowGroup; ++from) {
      for (int end = from; end <= kRowGroup; ++end) {
        for (int k = from; k < end; ++k) {
          for (std::int32_t& lane : steps[from][end][k]) lane = everyFourthEmpty && k % 4 == 3 ? 0 : -1;
        }
      }
    }
  }
};
template <bool everyFourthEmpty>
inline constexpr StepMasks<everyFourthEmpty> kStepMasks;

// One row a lane.
struct RowCuts {
  RowFloats leftX, rightX, leftU, rightU;
  RowInts used;  // a mask: lanes that hold a row
};

// Of vectors of four values, one a row, to vectors of rows, one a value.
ORVANDEL_INLINE void TransposeRows(const FourFloats (&at)[kRowGroup], RowCuts& cuts) {
  const auto row = [&](int k) __attribute__((always_inline)) {
    if constexpr (kRowGroup == 4) {
      return at[k];
    } else {
      return Joined(at[k], at[k + 4]);
    }
  };
  const RowFloats r0 = row(0), r1 = row(1), r2 = row(2), r3 = row(3);
  const RowFloats x01 = MergedLow<4>(r0, r1), x23 = MergedLow<4>(r2, r3);
  const RowFloats u01 = MergedHigh<4>(r0, r1), u23 = MergedHigh<4>(r2, r3);
  cuts.leftX = MergedLow<8>(x01, x23);
  cuts.rightX = MergedHigh<8>(x01, x23);
  cuts.leftU = MergedLow<8>(u01, u23);
  cuts.rightU = MergedHigh<8>(u01, u23);
}

// Calls visit(row, cuts) for rows y .. end - 1 of the edges in slots a and b, group by group; `row` is the first
// lane's, of cells, counted from the band's first. Cuts are as the edges stand, not yet ordered. Leaves the edges on
// row `end`.
template <int P, typename Visit>
ORVANDEL_INLINE void ForRowGroups(LivePiece& piece, int a, int b, std::int32_t y, std::int32_t end,
                                  std::int32_t bandRow, const Grid<P>& grid, Visit visit) {
  FourFloats edges{piece.x[a], piece.x[b], piece.u[a], piece.u[b]};
  const FourFloats step{piece.dxdy[a], piece.dxdy[b], piece.dudy[a], piece.dudy[b]};
  y = grid.CellOf(y - bandRow);
  end = grid.CellOf(end - bandRow);
  const bool gaps = grid.Gap() != 0;
  const auto& masks = P == 4 && gaps ? kStepMasks<true>.steps : kStepMasks<false>.steps;
  std::int32_t from = y & (kRowGroup - 1);
  for (std::int32_t row = y - from; row < end; row += kRowGroup) {
    std::int32_t rows = Smaller(end - row, kRowGroup);
    if (P > 4 && gaps) rows = Larger(Smaller(rows, grid.Quality() - (row & (P - 1))), 0);
    FourFloats at[kRowGroup];
    for (int k = 0; k < kRowGroup; ++k) {
      at[k] = edges;
      edges += (FourFloats)((FourInts)step & Load<FourInts>(masks[from][rows][k]));
    }
    RowCuts cuts;
    TransposeRows(at, cuts);
    const auto lanes = LaneNumbers<RowInts>();
    cuts.used = (lanes >= from) & (lanes < rows);
    if (P == 4 && gaps) cuts.used &= lanes % 4 != 3;
    visit(row, cuts);
    from = 0;
  }
  piece.x[a] = edges[0];
  piece.x[b] = edges[1];
  piece.u[a] = edges[2];
  piece.u[b] = edges[3];
}

// Columns of cells of several rows, one a lane, counted from the band's first.
template <typename Columns>
struct CellLanes {
  Columns first, last;     // kBehind in rows that leave no trace
  Columns crossing;        // kBehind also where no edge is the outline
  MaskOf<Columns> traced;  // rows that leave a trace
};

// The columns of samples that may be touched, and the band's first.
template <int P, typename Columns>
struct CellBounds {
  Columns lo, hi, firstColumn;
  Grid<P> grid;
  CellBounds(const DrawJob& job, const Grid<P>& of, std::int32_t first)
      : lo(Spread<Columns>(job.lo)), hi(Spread<Columns>(job.hi)), firstColumn(Spread<Columns>(first)), grid(of) {}
};

// OrderCut and ClipColumns for many rows. The outline's side is data here, not a branch: it changes from run to run as
// by chance, and a mispredicted branch costs as much as a dozen rows.
template <int P, typename X, typename Columns, typename... Used>
ORVANDEL_INLINE void CutLanes(X leftX, X rightX, const MaskOf<Columns>& atLeft, const MaskOf<Columns>& atRight,
                              const CellBounds<P, Columns>& bounds, CellLanes<Columns>& cells, const Used&... used) {
  MoveToOutline(leftX, rightX, atLeft, atRight);
  const Columns first = Floor(leftX), last = Floor(rightX), behind = Spread<Columns>(kBehind);
  cells.traced = AtMost(leftX, rightX) & AtMost(first, bounds.hi);
  ((cells.traced = cells.traced & used), ...);
  const auto placed = [&](const Columns& column) __attribute__((always_inline)) {
    const Columns within = Larger(Smaller(column, bounds.hi), bounds.lo) - bounds.firstColumn;
    return Select(cells.traced, bounds.grid.CellsOf(within), behind);
  };
  cells.first = placed(first);
  cells.last = placed(last);
  cells.crossing = Select(atLeft, cells.first, Select(atRight, cells.last, behind));
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS
