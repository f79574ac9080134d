// Pieces of a band -> marks that wait to be set together.
#pragma once

#include "effect/render/fast/marks/marks.h"
#include "effect/render/fast/marks/tame_piece.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// Where the runs of a band's pieces wait to become marks, in any order. What leads to a mark is one long chain of
// operations; each part of it is done for many pieces or groups of rows together, so that the processor, which looks
// ahead only so far, finds work that waits for nothing.
template <int Q, bool countTwice>
class MarkQueue {
 public:
  explicit MarkQueue(const Band<Q>& band) : band_(band) {}

  // All runs between the edges in slots a and b, rows y .. end - 1.
  ORVANDEL_INLINE void Add(LivePiece& piece, int a, int b, OutlineSide side, std::int32_t y, std::int32_t end) {
    const SideMasks& masks = kSideMasks[static_cast<int>(side)];
    const std::int32_t lo = band_.Job().lo, hi = band_.Job().hi, firstColumn = band_.FirstColumn();
    std::int32_t count = count_;
    ForRowGroups(
        piece, a, b, y, end,
        band_.FirstRow(), [&](std::int32_t row, const RowCuts& cuts) __attribute__((always_inline)) {
          RowCells cells;
          TakeGroupCells(cuts, masks, lo, hi, firstColumn, cells);
#if defined(__AVX2__)
          if constexpr (kWaits) {
            waiting_[count].row = row;
            count = Keep(count, PrepareGroup(cells, masks, waiting_[count]));
            return;
          }
#endif
          for (int k = 0; k < kRowGroup; ++k) {
            if (cells.traced[k] != 0) MarkRun<Q, countTwice>(band_, row + k, cells.first[k], cells.last[k], side);
          }
        });
    count_ = count;
  }

#if defined(__AVX512F__)
  // All rows y .. end - 1 of a tame piece whose steps are alike; `xBehind`: x of its edges on row `end`. False for
  // other pieces.
  ORVANDEL_INLINE bool AddTamePiece(const LivePiece& piece, std::int32_t y, std::int32_t end, FourFloats& xBehind) {
    if (!piece.tame) return false;
    y = Larger(y, piece.firstBegin);
    end = Smaller(end, piece.lastEnd);
    if (y >= end) {
      xBehind = Load<FourFloats>(piece.x);
      return true;
    }
    TamePiece& next = pieces_[pieceCount_];
    if (!next.Take(piece, y, end, band_.FirstRow(), xBehind)) return false;
    if (++pieceCount_ == kMostPieces) CutPieces();
    return true;
  }
#endif

  __attribute__((noinline)) void Flush() {
#if defined(__AVX2__)
    if constexpr (kWaits) {
#if defined(__AVX512F__)
      CutPieces();
#endif
      SetMarks();
    }
#endif
  }

 private:
#if defined(__AVX512F__)
  __attribute__((noinline)) void CutPieces() {
    const std::int32_t lo = band_.Job().lo, hi = band_.Job().hi, firstColumn = band_.FirstColumn();
    const std::int32_t firstRow = band_.FirstRow();
    std::int32_t count = count_;
    for (std::int32_t i = 0; i < pieceCount_; ++i) {
      const TameEdges edges(pieces_[i]);
      const std::int32_t end = pieces_[i].end;
      for (std::int32_t y = pieces_[i].firstGroup; y < end; y += kTameRows) {
        TameCuts cuts;
        TameColumns columns;
        edges.Cut(y, cuts);
        TakeTameColumns(cuts, lo, hi, firstColumn, columns);
        // The lower group takes the upper one's place when that has no trace.
        GroupMarks& upper = waiting_[count];
        GroupMarks& lower = waiting_[count + (columns.UpperTraced() != 0 ? 1 : 0)];
        upper.row = y - firstRow;
        PrepareTameGroups(cuts, columns, upper, lower);
        lower.row = y - firstRow + kRowGroup;
        count = Keep(static_cast<std::int32_t>(&lower - waiting_), columns.LowerTraced() != 0);
      }
    }
    count_ = count;
    pieceCount_ = 0;
  }
#endif

#if defined(__AVX2__)
  void SetMarks() {
    if constexpr (kWaits) {
      for (std::int32_t i = 0; i < count_; ++i) MarkGroup<Q, countTwice>(band_, waiting_[i]);
      count_ = 0;
    }
  }

  // The group behind `count` others stays when it leaves a trace; returns how many then wait.
  ORVANDEL_INLINE std::int32_t Keep(std::int32_t count, bool traced) {
    count += traced ? 1 : 0;
    if (count < kMost) return count;
    count_ = count;
    SetMarks();
    return 0;
  }
#endif

  const Band<Q>& band_;
  std::int32_t count_ = 0;
#if defined(__AVX2__)
  static constexpr bool kWaits = kInGroups<Q>;
  static constexpr std::int32_t kMost = kWaits ? 64 : 1;
  GroupMarks waiting_[kMost + 1];
#endif
#if defined(__AVX512F__)
  static constexpr std::int32_t kMostPieces = kWaits ? 32 : 1;
  TamePiece pieces_[kMostPieces];
  std::int32_t pieceCount_ = 0;
#endif
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
