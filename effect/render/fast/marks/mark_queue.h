// Pieces of a band -> marks that wait to be set together.
#pragma once

#include "effect/render/fast/marks/tame_piece.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// Where the runs of a band's pieces wait to become marks, in any order. What leads to a mark is one long chain of
// operations; each part of it is done for many pieces or groups of rows together, so that the processor, which looks
// ahead only so far, finds work that waits for nothing.
template <int P, bool countTwice>
class MarkQueue {
 public:
  explicit MarkQueue(const Band<P>& band) : band_(band) {}

  // All runs between the edges in slots a and b, rows y .. end - 1.
  ORVANDEL_INLINE void Add(LivePiece& piece, int a, int b, OutlineSide side, std::int32_t y, std::int32_t end) {
    const RowInts atLeft = RowInts{} - (side == OutlineSide::kLeft ? 1 : 0);
    const RowInts atRight = RowInts{} - (side == OutlineSide::kRight ? 1 : 0);
    const CellBounds<Grid<P>, RowInts> bounds(band_.Job(), band_.Sizes(), band_.FirstColumn());
    std::int32_t count = count_;
    const auto mark = [&](std::int32_t row, const RowCuts<kRowGroup>& cuts) __attribute__((always_inline)) {
      CellLanes<RowInts> cells;
      CutLanes(cuts.leftX, cuts.rightX, atLeft, atRight, bounds, cells, cuts.used);
      if constexpr (kInGroups) {
        waiting_[count].row = row;
        PrepareGroup(WordSpanOf(cells.first, cells.last), cells.first, cells.last, cells.crossing, waiting_[count]);
        count = Keep(count, Any(cells.traced));
      } else {
        for (int k = 0; k < kRowGroup; ++k) {
          if (cells.traced[k] != 0) MarkRun<P, countTwice>(band_, row + k, cells.first[k], cells.last[k], side);
        }
      }
    };
    ForRowGroups<kRowGroup, kRowGroup>(piece, a, b, y, end, band_.FirstRow(), band_.Sizes(), mark);
    count_ = count;
  }

  // All rows y .. end - 1 of a tame piece whose steps are alike; `xBehind`: x of its edges on row `end`. False for
  // other pieces.
  ORVANDEL_INLINE bool AddTamePiece(const LivePiece& piece, std::int32_t y, std::int32_t end, FourFloats& xBehind) {
    if (!kInGroups || !piece.tame) return false;
    y = Larger(y, piece.firstBegin);
    end = Smaller(end, piece.lastEnd);
    if (y >= end) {
      xBehind = Load<FourFloats>(piece.x);
      return true;
    }
    if (!pieces_[pieceCount_].Fill(piece, y, end, band_.FirstRow(), band_.Sizes(), xBehind)) return false;
    if (++pieceCount_ == kMostPieces) CutPieces();
    return true;
  }

  __attribute__((noinline)) void Flush() {
    if constexpr (kInGroups) {
      CutPieces();
      SetMarks();
    }
  }

 private:
  void CutPieces() { band_.Sizes().Gap() == 0 ? CutPiecesOn(Grid<P, true>(band_.Job())) : CutPiecesOn(band_.Sizes()); }

  template <typename Grid>
  __attribute__((noinline)) void CutPiecesOn(const Grid& grid) {
    const CellBounds<Grid, TameInts> bounds(band_.Job(), grid, band_.FirstColumn());
    const auto firstRow = Spread<TameInts>(band_.FirstRow());
    std::int32_t count = count_;
    for (std::int32_t i = 0; i < pieceCount_; ++i) {
      const TameEdges edges(pieces_[i]);
      const std::int32_t end = pieces_[i].end;
      for (std::int32_t row = pieces_[i].firstGroup; row < end; row += kTameRows) {
        CellLanes<TameInts> cells;
        edges.Cut(WrappingSum(grid.template RowsFrom<TameInts>(row), firstRow), bounds, cells);
        WordSpan lowWords, highWords;
        WordSpansOf(cells.first, cells.last, lowWords, highWords);
        // A group without a trace leaves its place to the next one.
        GroupMarks& low = waiting_[count];
        low.row = row;
        PrepareGroup(lowWords, LowHalf(cells.first), LowHalf(cells.last), LowHalf(cells.crossing), low);
        count += Any(LowHalf(cells.traced)) ? 1 : 0;
        GroupMarks& high = waiting_[count];
        high.row = row + kRowGroup;
        PrepareGroup(highWords, HighHalf(cells.first), HighHalf(cells.last), HighHalf(cells.crossing), high);
        count = Keep(count, Any(HighHalf(cells.traced)));
      }
    }
    count_ = count;
    pieceCount_ = 0;
  }

  void SetMarks() {
    for (std::int32_t i = 0; i < count_; ++i) MarkGroup<P, countTwice>(band_, waiting_[i]);
    count_ = 0;
  }

  // The group behind `count` others stays when it leaves a trace; returns how many then wait.
  ORVANDEL_INLINE std::int32_t Keep(std::int32_t count, bool traced) {
    count += traced ? 1 : 0;
    if (count < kMost) return count;
    count_ = count;
    SetMarks();
    return 0;
  }

  static constexpr std::int32_t kMost = kInGroups ? 64 : 1, kMostPieces = kInGroups ? 32 : 1;

  const Band<P>& band_;
  std::int32_t count_ = 0, pieceCount_ = 0;
  GroupMarks waiting_[kMost + 2];
  TamePiece pieces_[kMostPieces];
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
