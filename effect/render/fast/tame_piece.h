// Tame pieces, eight rows at a time, all four edges together.
//
// Where no more than two edges are active on any row, a row's two are the first and the last active slot, and which
// slots are active is a mask over rows. So a piece needs no stretches between the rows where edges begin and end. And
// where all steps of an edge are alike, a row's x needs none of the rows before: no chain of additions to wait for.
//
// u is left out: a tame piece is never wild, and its marks do not depend on u.
#pragma once

#include "effect/render/fast/even_steps.h"
#include "effect/render/fast/marks.h"

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
    firstGroup = y - ((y - bandRow) & (kRowGroup - 1));
    end = rowEnd;
    xBehind = even.end;
    return even.all;
  }
};

// One row a lane; masks have one bit a row.
struct TameCuts {
  __m256 leftX, rightX;      // ordered; the left one behind the right one where there is nothing
  __mmask8 atLeft, atRight;  // the outline is that edge, and not the only one
};

// A tame piece's edges with the same number in all lanes.
class TameEdges {
 public:
  ORVANDEL_INLINE explicit TameEdges(const TamePiece& piece)
      : rowsAtLeft_(_mm256_set1_epi32(piece.rowsAtLeft)), rowsAtRight_(_mm256_set1_epi32(piece.rowsAtRight)) {
    for (int slot = 0; slot < 4; ++slot) {
      x_[slot] = _mm256_set1_ps(piece.x[slot]);
      step_[slot] = _mm256_set1_ps(piece.step[slot]);
      start_[slot] = _mm256_set1_epi32(piece.start[slot]);
      rows_[slot] = _mm256_set1_epi32(piece.rows[slot]);
    }
  }

  // Rows y .. y + 7. Of two edges the other one is moved up to the outline; where only one is active there is no
  // crossing, and at most a run without samples.
  ORVANDEL_INLINE void Cut(std::int32_t y, TameCuts& cuts) const {
    const __m256i rows = _mm256_add_epi32(_mm256_set1_epi32(y), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
    __m256 x[4];
    __m256i row[4];  // from the edge's first
    __mmask8 active[4];
    for (int slot = 0; slot < 4; ++slot) {
      row[slot] = _mm256_sub_epi32(rows, start_[slot]);
      active[slot] = _mm256_cmplt_epu32_mask(row[slot], rows_[slot]);
      x[slot] = _mm256_fmadd_ps(_mm256_cvtepi32_ps(row[slot]), step_[slot], x_[slot]);
    }
    __m256 left = _mm256_mask_mov_ps(_mm256_set1_ps(1e30F), active[2], x[2]);
    left = _mm256_mask_mov_ps(left, active[1], x[1]);
    left = _mm256_mask_mov_ps(left, active[0], x[0]);
    __m256 right = _mm256_mask_mov_ps(_mm256_set1_ps(-1e30F), active[1], x[1]);
    right = _mm256_mask_mov_ps(right, active[2], x[2]);
    right = _mm256_mask_mov_ps(right, active[3], x[3]);
    const __mmask8 inner = _kor_mask8(active[1], active[2]);
    cuts.atLeft = _mm256_mask_cmplt_epu32_mask(_kor_mask8(inner, active[3]), row[0], rowsAtLeft_);
    cuts.atRight = _mm256_mask_cmplt_epu32_mask(_kor_mask8(inner, active[0]), row[3], rowsAtRight_);
    cuts.leftX = _mm256_mask_min_ps(left, cuts.atRight, left, right);
    cuts.rightX = _mm256_mask_max_ps(right, cuts.atLeft, right, left);
  }

 private:
  __m256 x_[4], step_[4];
  __m256i start_[4], rows_[4];
  __m256i rowsAtLeft_, rowsAtRight_;
};

// The marks but for their row.
ORVANDEL_INLINE void PrepareTameGroup(const TameCuts& cuts, std::int32_t lo, std::int32_t hi, std::int32_t firstColumn,
                                      GroupMarks& marks) {
  const __m512 x = _mm512_insertf32x8(_mm512_castps256_ps512(cuts.leftX), cuts.rightX, 1);
  __m512i ends = _mm512_cvt_roundps_epi32(x, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
  const __mmask8 traced =
      _mm256_mask_cmp_ps_mask(_mm256_cmple_epi32_mask(_mm512_castsi512_si256(ends), _mm256_set1_epi32(hi)), cuts.leftX,
                              cuts.rightX, _CMP_LE_OQ);
  ends = _mm512_max_epi32(_mm512_min_epi32(ends, _mm512_set1_epi32(hi)), _mm512_set1_epi32(lo));
  // Rows without a trace begin and end behind all columns, and so do crossings that are none.
  ends = _mm512_mask_sub_epi32(_mm512_set1_epi32(kBehind), _mm512_kunpackb(traced, traced), ends,
                               _mm512_set1_epi32(firstColumn));
  PlaceGroup(ends, marks);
  const __m256i crossing = _mm256_mask_mov_epi32(_mm256_set1_epi32(kBehind), cuts.atLeft, (__m256i)marks.first);
  marks.crossing = (RowInts)_mm256_mask_mov_epi32(crossing, cuts.atRight, (__m256i)marks.last);
  marks.traced = traced;
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#endif
