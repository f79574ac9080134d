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

// Masks for steps: all ones from entry 0 on, zeros before.
struct StepMasks {
  static constexpr int kMost = 16;  // rows of a group
  alignas(16) std::int32_t entries[2 * kMost][4];
  constexpr StepMasks() : entries() {
    for (int i = kMost; i < 2 * kMost; ++i) {
      for (std::int32_t& lane : entries[i]) lane = -1;
    }
  }
  ORVANDEL_INLINE FourInts From(std::int32_t entry) const { return Load<FourInts>(entries[kMost + entry]); }
};
inline constexpr StepMasks kStepMasks;

// n rows, one a lane.
template <int n>
struct RowCuts {
  Vec<float, n> leftX, rightX, leftU, rightU;
  Vec<std::int32_t, n> used;  // a mask: lanes that hold a row
};

// Of vectors of four values, one a row, to vectors of rows, one a value.
template <int n>
ORVANDEL_INLINE void TransposeRows(const FourFloats (&at)[n], RowCuts<n>& cuts) {
  const auto row = [&](int k) __attribute__((always_inline)) {
    if constexpr (n == 4) {
      return at[k];
    } else if constexpr (n == 8) {
      return Joined(at[k], at[k + 4]);
    } else {
      return Joined(Joined(at[k], at[k + 4]), Joined(at[k + 8], at[k + 12]));
    }
  };
  const Vec<float, n> r0 = row(0), r1 = row(1), r2 = row(2), r3 = row(3);
  const Vec<float, n> x01 = MergedLow<4>(r0, r1), x23 = MergedLow<4>(r2, r3);
  const Vec<float, n> u01 = MergedHigh<4>(r0, r1), u23 = MergedHigh<4>(r2, r3);
  cuts.leftX = MergedLow<8>(x01, x23);
  cuts.rightX = MergedHigh<8>(x01, x23);
  cuts.leftU = MergedLow<8>(u01, u23);
  cuts.rightU = MergedHigh<8>(u01, u23);
}

// Calls visit(row, cuts) for rows y .. end - 1 of the edges in slots a and b, n at a time; `row` is the first lane's,
// of cells, counted from the band's first, and the first one a multiple of `step`. Cuts are as the edges stand, not yet
// ordered. Leaves the edges on row `end`.
template <int n, int step, int P, typename Visit>
ORVANDEL_INLINE void ForRowGroups(LivePiece& piece, int a, int b, std::int32_t y, std::int32_t end,
                                  std::int32_t bandRow, const Grid<P>& grid, Visit visit) {
  FourFloats edges{piece.x[a], piece.x[b], piece.u[a], piece.u[b]};
  const FourFloats change{piece.dxdy[a], piece.dxdy[b], piece.dudy[a], piece.dudy[b]};
  const std::int32_t first = grid.CellOf(y - bandRow), behind = grid.CellOf(end - bandRow);
  for (std::int32_t row = first & -step; row < behind; row += n) {
    const std::int32_t from = Larger(first - row, 0), to = Smaller(behind - row, n);
    FourFloats at[n];
    RowCuts<n> cuts;
    const auto lanes = LaneNumbers<Vec<std::int32_t, n>>();
    cuts.used = (lanes >= from) & (lanes < to);
    const auto stepAll = [&](auto gaps) __attribute__((always_inline)) {
      for (int k = 0; k < n; ++k) {
        at[k] = edges;
        if (decltype(gaps)::value && !grid.HasSamples(row + k)) continue;
        const FourInts stepped = kStepMasks.From(k - from) & kStepMasks.From(to - 1 - k);
        edges += (FourFloats)((FourInts)change & stepped);
      }
    };
    if (grid.Gap() == 0) {
      stepAll(std::false_type{});
    } else {
      stepAll(std::true_type{});
      cuts.used &= grid.HasSamples(lanes + row);
    }
    TransposeRows(at, cuts);
    visit(row, cuts);
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
template <typename Grid, typename Columns>
struct CellBounds {
  Columns lo, hi, firstColumn;
  Grid grid;
  CellBounds(const DrawJob& job, const Grid& of, std::int32_t first)
      : lo(Spread<Columns>(job.lo)), hi(Spread<Columns>(job.hi)), firstColumn(Spread<Columns>(first)), grid(of) {}
};

// OrderCut and ClipColumns for many rows. The outline's side is data here, not a branch: it changes from run to run as
// by chance, and a mispredicted branch costs as much as a dozen rows.
template <typename Grid, typename X, typename Columns, typename... Used>
ORVANDEL_INLINE void CutLanes(X leftX, X rightX, const MaskOf<Columns>& atLeft, const MaskOf<Columns>& atRight,
                              const CellBounds<Grid, Columns>& bounds, CellLanes<Columns>& cells, const Used&... used) {
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
