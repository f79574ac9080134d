// A tame piece through its rows, eight at a time, all four edges together.
//
// Where no more than two edges are active on any row, a row's two are the first and the last active slot, and which
// slots are active is a mask over rows. So a piece needs no stretches between the rows where edges begin and end: most
// pieces are a few dozen rows high, and how long the next stretch is, nobody can guess.
//
// u is not stepped: a tame piece is never wild, and its marks do not depend on u.
#pragma once

#include "effect/render/fast/even_steps.h"
#include "effect/render/fast/marks.h"

#if defined(__AVX512F__)

namespace orvandel::fast::ORVANDEL_KERNELS {

// One row a lane; masks have one bit a row.
struct TameCuts {
  __m256 leftX, rightX;      // ordered; the left one behind the right one where there is nothing
  __mmask8 atLeft, atRight;  // the outline is that edge, and not the only one
};

class TamePiece {
 public:
  // Rows y .. end - 1 are asked for, in order, y < end.
  TamePiece(const LivePiece& piece, std::int32_t y, std::int32_t end)
      : x_(Load<FourFloats>(piece.x)), dxdy_(Load<FourFloats>(piece.dxdy)) {
    const FourInts first = Load<FourInts>(piece.first), behind = Load<FourInts>(piece.end);
    start_ = first > y ? first : FourInts{} + y;
    const FourInts last = behind < end ? behind : FourInts{} + end;
    const FourInts rows = start_ < last ? last - start_ : FourInts{};
    even_ = MakeEvenSteps(x_, dxdy_, rows);
    for (int slot = 0; slot < 4; ++slot) {
      edges_[slot] = {_mm256_set1_ps(x_[slot]), _mm256_set1_ps(even_.step[slot]), _mm256_set1_epi32(start_[slot]),
                      _mm256_set1_epi32(rows[slot])};
    }
    const bool outlineLeft = piece.outlineSlot == 0;
    rowsAtLeft_ = outlineLeft ? edges_[0].rows : __m256i{};
    rowsAtRight_ = outlineLeft ? __m256i{} : edges_[3].rows;
  }

  // Rows y .. y + 7.
  ORVANDEL_INLINE void Next(std::int32_t y, TameCuts& cuts) {
    const __m256i rows = _mm256_add_epi32(_mm256_set1_epi32(y), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
    __m256 x[4];
    __m256i row[4];  // from the edge's first
    for (int slot = 0; slot < 4; ++slot) {
      const Edge& edge = edges_[slot];
      row[slot] = _mm256_sub_epi32(rows, edge.start);
      x[slot] = _mm256_fmadd_ps(_mm256_cvtepi32_ps(row[slot]), edge.step, edge.x);
    }
    if (!even_.all) Step(y, x);
    Choose(x, row, cuts);
  }

  // The marks but for their row.
  ORVANDEL_INLINE static void Prepare(const TameCuts& cuts, std::int32_t lo, std::int32_t hi, std::int32_t firstColumn,
                                      GroupMarks& marks) {
    const __m512 x = _mm512_insertf32x8(_mm512_castps256_ps512(cuts.leftX), cuts.rightX, 1);
    __m512i ends = _mm512_cvt_roundps_epi32(x, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
    const __mmask8 traced =
        _mm256_mask_cmp_ps_mask(_mm256_cmple_epi32_mask(_mm512_castsi512_si256(ends), _mm256_set1_epi32(hi)),
                                cuts.leftX, cuts.rightX, _CMP_LE_OQ);
    ends = _mm512_max_epi32(_mm512_min_epi32(ends, _mm512_set1_epi32(hi)), _mm512_set1_epi32(lo));
    ends = _mm512_mask_sub_epi32(_mm512_set1_epi32(kBehind), _mm512_kunpackb(traced, traced), ends,
                                 _mm512_set1_epi32(firstColumn));
    PlaceGroup(ends, marks);
    __m256i crossing = _mm256_mask_mov_epi32(_mm256_set1_epi32(kBehind), cuts.atLeft, (__m256i)marks.first);
    crossing = _mm256_mask_mov_epi32(crossing, cuts.atRight, (__m256i)marks.last);
    marks.crossing = (RowInts)crossing;
    marks.traced = traced;
  }

  // The edges as they stand on the row behind the last group.
  void Leave(LivePiece& piece) const { Store(piece.x, even_.all ? even_.end : x_); }

 private:
  // Eight rows of each edge's x. Edges that have ended are stepped on: nobody asks for them any more.
  ORVANDEL_INLINE void Step(std::int32_t y, __m256 (&x)[4]) {
    FourFloats rows[kRowGroup];
    FourInts row = FourInts{} + y;
    for (FourFloats& at : rows) {
      at = x_;
      x_ = _mm_mask_add_ps(x_, _mm_cmple_epi32_mask((__m128i)start_, (__m128i)row), x_, dxdy_);
      row += 1;
    }
    const auto join = [](const FourFloats& upper, const FourFloats& lower) __attribute__((always_inline)) {
      return _mm256_insertf128_ps(_mm256_castps128_ps256(upper), lower, 1);
    };
    const __m256 r0 = join(rows[0], rows[4]), r1 = join(rows[1], rows[5]);
    const __m256 r2 = join(rows[2], rows[6]), r3 = join(rows[3], rows[7]);
    const __m256 low01 = _mm256_unpacklo_ps(r0, r1), low23 = _mm256_unpacklo_ps(r2, r3);
    const __m256 high01 = _mm256_unpackhi_ps(r0, r1), high23 = _mm256_unpackhi_ps(r2, r3);
    x[0] = _mm256_shuffle_ps(low01, low23, 0x44);
    x[1] = _mm256_shuffle_ps(low01, low23, 0xEE);
    x[2] = _mm256_shuffle_ps(high01, high23, 0x44);
    x[3] = _mm256_shuffle_ps(high01, high23, 0xEE);
  }

  // The two edges; the other one is moved up to the outline. Where only one is active there is no crossing, and at most
  // a run without samples.
  ORVANDEL_INLINE void Choose(const __m256 (&x)[4], const __m256i (&row)[4], TameCuts& cuts) const {
    __mmask8 active[4];
    for (int slot = 0; slot < 4; ++slot) active[slot] = _mm256_cmplt_epu32_mask(row[slot], edges_[slot].rows);
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

  // The same number in all lanes.
  struct Edge {
    __m256 x, step;       // on its first row here, and its change per row
    __m256i start, rows;  // that row, and how many rows it takes part in
  };

  Edge edges_[4];
  EvenSteps even_;
  FourFloats x_, dxdy_;
  FourInts start_;  // the row from which on an edge is stepped
  __m256i rowsAtLeft_, rowsAtRight_;  // in which the outline is slot 0, and slot 3
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#endif
