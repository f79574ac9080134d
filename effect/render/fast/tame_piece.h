// A tame piece through its rows, eight at a time, all four edges together.
//
// Where no more than two edges are active on any row, a row's two are the first and the last active slot, and which
// slots are active is a mask over rows. So a piece needs no stretches between the rows where edges begin and end: most
// pieces are a few dozen rows high, and how long the next stretch is, nobody can guess.
//
// u is not stepped: a tame piece is never wild, and its marks do not depend on u.
#pragma once

#include "effect/render/fast/marks.h"

#if defined(__AVX512F__)

namespace orvandel::fast::ORVANDEL_KERNELS {

// One row a lane; masks have one bit a row.
struct TameCuts {
  __m256 leftX, rightX;      // ordered
  __mmask8 atLeft, atRight;  // the outline is that edge, and not the only one
  __mmask8 used;             // rows of the piece
};

class TamePiece {
 public:
  // Rows y .. end - 1 are asked for, in order, y < end.
  TamePiece(const LivePiece& piece, std::int32_t y, std::int32_t end)
      : x_(Load<FourFloats>(piece.x)), dxdy_(Load<FourFloats>(piece.dxdy)), end_(end) {
    const FourInts first = Load<FourInts>(piece.first);
    start_ = first > y ? first : FourInts{} + y;
    for (int slot = 0; slot < 4; ++slot) {
      firsts_[slot] = _mm256_set1_epi32(piece.first[slot]);
      ends_[slot] = _mm256_set1_epi32(piece.end[slot]);
    }
    outlineLeft_ = piece.outlineSlot == 0 ? 255 : 0;
  }

  // Rows y .. y + 7, without those before y + from.
  ORVANDEL_INLINE void Next(std::int32_t y, std::int32_t from, TameCuts& cuts) {
    __m256 x[4];
    Step(y, x);
    __mmask8 active[4];
    FindActive(y, active);
    const std::int32_t behind = Larger(y + kRowGroup - end_, 0);
    cuts.used = static_cast<__mmask8>((255U << from) & (255U >> behind));
    Choose(x, active, cuts);
  }

  // The marks but for their row.
  ORVANDEL_INLINE static void Prepare(const TameCuts& cuts, std::int32_t lo, std::int32_t hi, std::int32_t firstColumn,
                                      GroupMarks& marks) {
    const __m256i most = _mm256_set1_epi32(hi), origin = _mm256_set1_epi32(firstColumn);
    const __m256i behind = _mm256_set1_epi32(kBehind);
    __m256i first = (__m256i)FloorOfRows(cuts.leftX), last = (__m256i)FloorOfRows(cuts.rightX);
    const __mmask8 traced = _mm256_mask_cmp_ps_mask(_mm256_mask_cmple_epi32_mask(cuts.used, first, most), cuts.leftX,
                                                    cuts.rightX, _CMP_LE_OQ);
    first = _mm256_max_epi32(first, _mm256_set1_epi32(lo));
    last = _mm256_max_epi32(_mm256_min_epi32(last, most), first);
    // Rows without a trace begin and end behind all columns, and so do crossings that are none.
    first = _mm256_mask_sub_epi32(behind, traced, first, origin);
    last = _mm256_mask_sub_epi32(behind, traced, last, origin);
    PlaceGroup((RowInts)first, (RowInts)last, (RowInts)_mm256_mask_mov_epi32(_mm256_set1_epi32(-1), traced, last),
               marks);
    const __m256i crossing = _mm256_mask_mov_epi32(behind, cuts.atLeft & traced, (__m256i)marks.first);
    marks.crossing = (RowInts)_mm256_mask_mov_epi32(crossing, cuts.atRight & traced, (__m256i)marks.last);
    marks.traced = traced;
  }

  // The edges as they stand on the row behind the last group.
  void Leave(LivePiece& piece) const { Store(piece.x, x_); }

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

  ORVANDEL_INLINE void FindActive(std::int32_t y, __mmask8 (&active)[4]) const {
    const __m256i rows = _mm256_add_epi32(_mm256_set1_epi32(y), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
    for (int slot = 0; slot < 4; ++slot) {
      active[slot] = _mm256_mask_cmpgt_epi32_mask(_mm256_cmple_epi32_mask(firsts_[slot], rows), ends_[slot], rows);
    }
  }

  // The two edges; the other one is moved up to the outline. Where only one is active there is no crossing, and at most
  // a run without samples.
  ORVANDEL_INLINE void Choose(const __m256 (&x)[4], const __mmask8 (&active)[4], TameCuts& cuts) const {
    __m256 left = _mm256_mask_mov_ps(_mm256_set1_ps(1e30F), active[2], x[2]);
    left = _mm256_mask_mov_ps(left, active[1], x[1]);
    left = _mm256_mask_mov_ps(left, active[0], x[0]);
    __m256 right = _mm256_mask_mov_ps(_mm256_set1_ps(-1e30F), active[1], x[1]);
    right = _mm256_mask_mov_ps(right, active[2], x[2]);
    right = _mm256_mask_mov_ps(right, active[3], x[3]);
    const __mmask8 inner = active[1] | active[2];
    cuts.atLeft = active[0] & (inner | active[3]) & outlineLeft_;
    cuts.atRight = active[3] & (inner | active[0]) & static_cast<__mmask8>(~outlineLeft_);
    cuts.leftX = _mm256_mask_min_ps(left, cuts.atRight, left, right);
    cuts.rightX = _mm256_mask_max_ps(right, cuts.atLeft, right, left);
  }

  FourFloats x_, dxdy_;
  FourInts start_;  // the row from which on an edge is stepped
  __m256i firsts_[4], ends_[4];
  std::int32_t end_;
  __mmask8 outlineLeft_;  // all ones where the outline is slot 0
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#endif
