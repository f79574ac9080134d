// Tame pieces, sixteen rows at a time, all four edges together.
//
// Where no more than two edges are active on any row, a row's two are the first and the last active slot, and which
// slots are active is a mask over rows. So a piece needs no stretches between the rows where edges begin and end. And
// where all steps of an edge are alike, a row's x needs none of the rows before: no chain of additions to wait for.
//
// u is left out: a tame piece is never wild, and its marks do not depend on u.
#pragma once

#include "effect/render/fast/marks/marks.h"
#include "effect/render/fast/pieces/even_steps.h"

#if defined(__AVX512F__)

namespace orvandel::fast::ORVANDEL_KERNELS {

// A piece's edges, by slot, on the rows of a stretch that begins with a group.
struct TamePiece {
  float x[4], step[4];                   // on the edge's first row, and its change per row
  std::int32_t start[4], rows[4];        // that row, and how many rows it takes part in
  std::int32_t rowsAtLeft, rowsAtRight;  // in which the outline is slot 0, and slot 3
  std::int32_t firstGroup, end;          // rows

  // Rows y .. rowEnd - 1 of a piece, y < rowEnd. False when its steps are not alike. `xBehind`: x on row `rowEnd` of
  // the edges that go on there.
  bool Take(const LivePiece& piece, std::int32_t y, std::int32_t rowEnd, std::int32_t bandRow, FourFloats& xBehind) {
    const FourInts first = Load<FourInts>(piece.first), behind = Load<FourInts>(piece.end);
    const FourInts from = first > y ? first : FourInts{} + y;
    const FourInts to = behind < rowEnd ? behind : FourInts{} + rowEnd;
    const FourInts count = from < to ? (FourInts)((FourWords)to - (FourWords)from) : FourInts{};
    const EvenSteps even = MakeEvenSteps(Load<FourFloats>(piece.x), Load<FourFloats>(piece.dxdy), count);
    Store(x, Load<FourFloats>(piece.x));
    Store(step, even.step);
    Store(start, from);
    Store(rows, count);
    rowsAtLeft = piece.outlineSlot == 0 ? count[0] : 0;
    rowsAtRight = piece.outlineSlot == 0 ? 0 : count[3];
    firstGroup = y - ((y - bandRow) & (2 * kRowGroup - 1));
    end = rowEnd;
    xBehind = even.end;
    return even.all;
  }
};

// Rows cut together: two groups. One row a lane; masks have one bit a row.
inline constexpr int kTameRows = 2 * kRowGroup;
struct TameCuts {
  __m512 leftX, rightX;       // ordered; the left one behind the right one where there is nothing
  __mmask16 atLeft, atRight;  // the outline is that edge, and not the only one
};

// A tame piece's edges with the same number in all lanes.
class TameEdges {
 public:
  ORVANDEL_INLINE explicit TameEdges(const TamePiece& piece)
      : rowsAtLeft_(_mm512_set1_epi32(piece.rowsAtLeft)), rowsAtRight_(_mm512_set1_epi32(piece.rowsAtRight)) {
    for (int slot = 0; slot < 4; ++slot) {
      x_[slot] = _mm512_set1_ps(piece.x[slot]);
      step_[slot] = _mm512_set1_ps(piece.step[slot]);
      start_[slot] = _mm512_set1_epi32(piece.start[slot]);
      rows_[slot] = _mm512_set1_epi32(piece.rows[slot]);
    }
  }

  // Rows y .. y + kTameRows - 1. Of two edges the other one is moved up to the outline; where only one is active there
  // is no crossing, and at most a run without samples.
  ORVANDEL_INLINE void Cut(std::int32_t y, TameCuts& cuts) const {
    const __m512i lane = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    const __m512i rows = _mm512_add_epi32(_mm512_set1_epi32(y), lane);
    __m512 x[4];
    __m512i row[4];  // from the edge's first
    __mmask16 active[4];
    for (int slot = 0; slot < 4; ++slot) {
      row[slot] = _mm512_sub_epi32(rows, start_[slot]);
      active[slot] = _mm512_cmplt_epu32_mask(row[slot], rows_[slot]);
      x[slot] = _mm512_fmadd_ps(_mm512_cvtepi32_ps(row[slot]), step_[slot], x_[slot]);
    }
    __m512 left = _mm512_mask_mov_ps(_mm512_set1_ps(1e30F), active[2], x[2]);
    left = _mm512_mask_mov_ps(left, active[1], x[1]);
    left = _mm512_mask_mov_ps(left, active[0], x[0]);
    __m512 right = _mm512_mask_mov_ps(_mm512_set1_ps(-1e30F), active[1], x[1]);
    right = _mm512_mask_mov_ps(right, active[2], x[2]);
    right = _mm512_mask_mov_ps(right, active[3], x[3]);
    const __mmask16 inner = _kor_mask16(active[1], active[2]);
    cuts.atLeft = _mm512_mask_cmplt_epu32_mask(_kor_mask16(inner, active[3]), row[0], rowsAtLeft_);
    cuts.atRight = _mm512_mask_cmplt_epu32_mask(_kor_mask16(inner, active[0]), row[3], rowsAtRight_);
    cuts.leftX = _mm512_mask_min_ps(left, cuts.atRight, left, right);
    cuts.rightX = _mm512_mask_max_ps(right, cuts.atLeft, right, left);
  }

 private:
  __m512 x_[4], step_[4];
  __m512i start_[4], rows_[4];
  __m512i rowsAtLeft_, rowsAtRight_;
};

// The columns of two groups' rows, from the band's first one.
struct TameColumns {
  __m512i first, last;  // kBehind where there is no trace
  __mmask16 traced;

  unsigned UpperTraced() const { return traced & ((1U << kRowGroup) - 1); }
  unsigned LowerTraced() const { return unsigned{traced} >> kRowGroup; }
};
ORVANDEL_INLINE void TakeTameColumns(const TameCuts& cuts, std::int32_t lo, std::int32_t hi, std::int32_t firstColumn,
                                     TameColumns& columns) {
  constexpr int kDown = _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC;
  const __m512i first = _mm512_cvt_roundps_epi32(cuts.leftX, kDown),
                last = _mm512_cvt_roundps_epi32(cuts.rightX, kDown);
  const __m512i lowest = _mm512_set1_epi32(lo), highest = _mm512_set1_epi32(hi);
  columns.traced =
      _mm512_mask_cmp_ps_mask(_mm512_cmple_epi32_mask(first, highest), cuts.leftX, cuts.rightX, _CMP_LE_OQ);
  const auto placed = [&](const __m512i& column) __attribute__((always_inline)) {
    const __m512i within = _mm512_max_epi32(_mm512_min_epi32(column, highest), lowest);
    return _mm512_mask_sub_epi32(_mm512_set1_epi32(kBehind), columns.traced, within, _mm512_set1_epi32(firstColumn));
  };
  columns.first = placed(first);
  columns.last = placed(last);
}

// The marks but for their row. `lower` may be `upper`: then it takes its place.
ORVANDEL_INLINE void PrepareTameGroups(const TameCuts& cuts, const TameColumns& columns, GroupMarks& upper,
                                       GroupMarks& lower) {
  const auto wordsOf = [](const __m512i& column) __attribute__((always_inline)) {
    return _mm512_cvtepi32_epi16(_mm512_srli_epi32(column, 6));
  };
  const __m256i firsts = wordsOf(columns.first), lasts = wordsOf(columns.last);
  const __m256i upperStart = PlaceWords(_mm256_castsi256_si128(firsts), _mm256_castsi256_si128(lasts), upper);
  const __m256i lowerStart = PlaceWords(_mm256_extracti128_si256(firsts, 1), _mm256_extracti128_si256(lasts, 1), lower);
  const __m512i start = _mm512_inserti64x4(_mm512_castsi256_si512(upperStart), lowerStart, 1);
  const __m512i first = _mm512_sub_epi32(columns.first, start), last = _mm512_sub_epi32(columns.last, start);
  __m512i crossing = _mm512_mask_mov_epi32(_mm512_set1_epi32(kBehind), cuts.atLeft, first);
  crossing = _mm512_mask_mov_epi32(crossing, cuts.atRight, last);
  const auto split = [](const __m512i& rows, RowInts& upperRows, RowInts& lowerRows) __attribute__((always_inline)) {
    upperRows = (RowInts)_mm512_castsi512_si256(rows);
    lowerRows = (RowInts)_mm512_extracti64x4_epi64(rows, 1);
  };
  split(first, upper.first, lower.first);
  split(last, upper.last, lower.last);
  split(crossing, upper.crossing, lower.crossing);
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#endif
