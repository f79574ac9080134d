// Two edges through four rows at a time.
//
// x and u of both edges are one vector, so that a step down is one addition for all four; four such vectors,
// transposed, are the four values with one row a lane. Rows come in fours that begin at a multiple of four rows of the
// band; lanes for rows that do not belong to the run are not stepped and not used. So where the quality is a multiple
// of four, all rows of a four lie in one pixel row.
//
// (Eight rows at a time were not faster: runs are short, and a chain of eight additions is long.)
#pragma once

#include "effect/render/fast/piece_walk.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// a < b ? a : b and a > b ? a : b, lane by lane; compilers make two or three instructions of it where there is one.
ORVANDEL_INLINE FourInts SmallerLanes(const FourInts& a, const FourInts& b) {
#if defined(__SSE4_1__)
  return (FourInts)_mm_min_epi32((__m128i)a, (__m128i)b);
#else
  return a < b ? a : b;
#endif
}
ORVANDEL_INLINE FourInts LargerLanes(const FourInts& a, const FourInts& b) {
#if defined(__SSE4_1__)
  return (FourInts)_mm_max_epi32((__m128i)a, (__m128i)b);
#else
  return a > b ? a : b;
#endif
}
ORVANDEL_INLINE FourFloats SmallerLanes(const FourFloats& a, const FourFloats& b) {
#if defined(__x86_64__)
  return _mm_min_ps(a, b);
#else
  return a < b ? a : b;
#endif
}
ORVANDEL_INLINE FourFloats LargerLanes(const FourFloats& a, const FourFloats& b) {
#if defined(__x86_64__)
  return _mm_max_ps(a, b);
#else
  return a > b ? a : b;
#endif
}
ORVANDEL_INLINE FourInts FloorOfFour(const FourFloats& v) {
#if defined(__SSE4_1__)
  return (FourInts)_mm_cvttps_epi32(_mm_floor_ps(v));
#else
  const FourInts truncated = __builtin_convertvector(v, FourInts);
  return (FourInts)((FourWords)truncated + (FourWords)(__builtin_convertvector(truncated, FourFloats) > v));
#endif
}

// Masks for every set of rows out of four, bit k for row k.
struct RowMasks {
  alignas(16) std::int32_t steps[16][4][4];  // [set][k]: all ones in every lane when row k is in the set
  alignas(16) std::int32_t lanes[16][4];     // [set]: all ones in the lanes of its rows
  constexpr RowMasks() : steps(), lanes() {
    for (unsigned set = 0; set < 16; ++set) {
      for (unsigned k = 0; k < 4; ++k) {
        lanes[set][k] = (set >> k & 1U) != 0 ? -1 : 0;
        for (std::int32_t& lane : steps[set][k]) lane = lanes[set][k];
      }
    }
  }
};
inline constexpr RowMasks kRowMasks;

// One row a lane.
struct FourCuts {
  FourFloats leftX, rightX, leftU, rightU;
  FourInts used;  // all ones in lanes that hold a row
};

// Calls take(row, cuts) for rows y .. end - 1 of the edges in slots a and b, in fours; `row` is the first lane's,
// counted from the band's first row. Cuts are as the edges stand, not yet ordered. Leaves the edges on row `end`.
template <typename Take>
ORVANDEL_INLINE void ForFourRows(LivePiece& piece, int a, int b, std::int32_t y, std::int32_t end, std::int32_t bandRow,
                                 Take take) {
  FourFloats edges{piece.x[a], piece.x[b], piece.u[a], piece.u[b]};
  const FourFloats step{piece.dxdy[a], piece.dxdy[b], piece.dudy[a], piece.dudy[b]};
  y -= bandRow;
  end -= bandRow;
  unsigned rows = 15U << (y & 3) & 15U;
  for (std::int32_t row = y & ~3; row < end; row += 4) {
    if (end - row < 4) rows &= 15U >> (4 - (end - row));
    FourFloats at[4];
    for (int k = 0; k < 4; ++k) {
      at[k] = edges;
      edges += (FourFloats)((FourInts)step & Load<FourInts>(kRowMasks.steps[rows][k]));
    }
    const FourFloats x01 = __builtin_shufflevector(at[0], at[1], 0, 4, 1, 5);
    const FourFloats x23 = __builtin_shufflevector(at[2], at[3], 0, 4, 1, 5);
    const FourFloats u01 = __builtin_shufflevector(at[0], at[1], 2, 6, 3, 7);
    const FourFloats u23 = __builtin_shufflevector(at[2], at[3], 2, 6, 3, 7);
    take(row, FourCuts{__builtin_shufflevector(x01, x23, 0, 1, 4, 5), __builtin_shufflevector(x01, x23, 2, 3, 6, 7),
                       __builtin_shufflevector(u01, u23, 0, 1, 4, 5), __builtin_shufflevector(u01, u23, 2, 3, 6, 7),
                       Load<FourInts>(kRowMasks.lanes[rows])});
    rows = 15U;
  }
  piece.x[a] = edges[0];
  piece.x[b] = edges[1];
  piece.u[a] = edges[2];
  piece.u[b] = edges[3];
}

// Cells of four rows, counted from the band's first column.
struct FourCells {
  FourInts first, last;
  FourInts traced;  // all ones in lanes of rows that leave a trace
};

// What differs with the outline's side, as masks: the side is data here, not a branch. It changes from run to run as by
// chance, and a wrong guess costs the processor as much as a dozen rows.
struct SideMasks {
  alignas(16) std::int32_t atLeft[4], atRight[4];  // all ones where the outline is the left / the right edge
  alignas(16) std::int32_t neither[4];             // kBehind where it is none of them
  alignas(16) float farLeft[4], farRight[4];       // beyond all columns, 0 where the outline is that edge
};

// A column behind all others.
inline constexpr std::int32_t kBehind = 0x7FFFFFFF;

constexpr SideMasks MakeSideMasks(OutlineSide side) {
  SideMasks masks{};
  for (int k = 0; k < 4; ++k) {
    masks.atLeft[k] = side == OutlineSide::kLeft ? -1 : 0;
    masks.atRight[k] = side == OutlineSide::kRight ? -1 : 0;
    masks.neither[k] = side == OutlineSide::kNone ? kBehind : 0;
    masks.farLeft[k] = side == OutlineSide::kLeft ? 0.0F : -1e30F;
    masks.farRight[k] = side == OutlineSide::kRight ? 0.0F : 1e30F;
  }
  return masks;
}

// By OutlineSide.
inline constexpr SideMasks kSideMasks[] = {MakeSideMasks(OutlineSide::kNone), MakeSideMasks(OutlineSide::kLeft),
                                           MakeSideMasks(OutlineSide::kRight)};

// OrderCut and TakeCells for four rows.
ORVANDEL_INLINE void TakeFourCells(const FourCuts& cuts, const SideMasks& masks, std::int32_t lo, std::int32_t hi,
                                   std::int32_t firstColumn, FourCells& cells) {
  // The other edge is moved up to the outline, or to nowhere when there is none.
  const FourInts leftLimit = ((FourInts)cuts.leftX & Load<FourInts>(masks.atLeft)) | Load<FourInts>(masks.farLeft);
  const FourInts rightLimit = ((FourInts)cuts.rightX & Load<FourInts>(masks.atRight)) | Load<FourInts>(masks.farRight);
  const FourFloats leftX = SmallerLanes(cuts.leftX, (FourFloats)rightLimit);
  const FourFloats rightX = LargerLanes(cuts.rightX, (FourFloats)leftLimit);
  FourInts first = FloorOfFour(leftX), last = FloorOfFour(rightX);
  cells.traced = (FourInts)(leftX <= rightX) & (first <= hi) & cuts.used;
  first = LargerLanes(first, FourInts{} + lo);
  last = LargerLanes(SmallerLanes(last, FourInts{} + hi), first);
  // Wrapping: a lane without a trace may hold anything.
  const FourWords start = FourWords{} + static_cast<std::uint32_t>(firstColumn);
  cells.first = (FourInts)((FourWords)first - start);
  cells.last = (FourInts)((FourWords)last - start);
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS
