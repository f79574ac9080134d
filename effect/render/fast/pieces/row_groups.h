// Two edges through a group of rows at a time.
//
// x and u of both edges are one vector, so that a step down is one addition for all four; the vectors of a group's
// rows, transposed, are the four values with one row a lane. Groups begin at a multiple of their rows, counted from the
// band's first; lanes for rows that do not belong to the run are not stepped and not used.
#pragma once

#include "effect/render/fast/pieces/piece_walk.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// Rows of a group. (Sixteen would not be faster: runs are short, and a chain of sixteen additions is long.)
#if defined(__AVX512F__)
inline constexpr int kRowGroup = kMostRowsTogether;
#else
inline constexpr int kRowGroup = 4;
#endif
typedef float RowFloats __attribute__((vector_size(4 * kRowGroup)));
typedef std::int32_t RowInts __attribute__((vector_size(4 * kRowGroup)));
typedef std::uint32_t RowWords32 __attribute__((vector_size(4 * kRowGroup)));

// a < b ? a : b and a > b ? a : b, lane by lane; compilers make two or three instructions of it where there is one.
ORVANDEL_INLINE RowInts SmallerLanes(const RowInts& a, const RowInts& b) {
#if defined(__AVX512F__)
  return (RowInts)_mm256_min_epi32((__m256i)a, (__m256i)b);
#elif defined(__SSE4_1__)
  return (RowInts)_mm_min_epi32((__m128i)a, (__m128i)b);
#else
  return a < b ? a : b;
#endif
}
ORVANDEL_INLINE RowInts LargerLanes(const RowInts& a, const RowInts& b) {
#if defined(__AVX512F__)
  return (RowInts)_mm256_max_epi32((__m256i)a, (__m256i)b);
#elif defined(__SSE4_1__)
  return (RowInts)_mm_max_epi32((__m128i)a, (__m128i)b);
#else
  return a > b ? a : b;
#endif
}
ORVANDEL_INLINE RowFloats SmallerLanes(const RowFloats& a, const RowFloats& b) {
#if defined(__AVX512F__)
  return _mm256_min_ps(a, b);
#elif defined(__x86_64__)
  return _mm_min_ps(a, b);
#else
  return a < b ? a : b;
#endif
}
ORVANDEL_INLINE RowFloats LargerLanes(const RowFloats& a, const RowFloats& b) {
#if defined(__AVX512F__)
  return _mm256_max_ps(a, b);
#elif defined(__x86_64__)
  return _mm_max_ps(a, b);
#else
  return a > b ? a : b;
#endif
}
ORVANDEL_INLINE RowInts FloorOfRows(const RowFloats& v) {
#if defined(__AVX512F__)
  return (RowInts)_mm256_cvttps_epi32(_mm256_floor_ps(v));
#elif defined(__SSE4_1__)
  return (RowInts)_mm_cvttps_epi32(_mm_floor_ps(v));
#else
  const RowInts truncated = __builtin_convertvector(v, RowInts);
  return (RowInts)((RowWords32)truncated + (RowWords32)(__builtin_convertvector(truncated, RowFloats) > v));
#endif
}

// Bit k of the result: lane k of a comparison's result holds.
ORVANDEL_INLINE unsigned LanesOf(const RowInts& mask) {
#if defined(__AVX512F__)
  return static_cast<unsigned>(_mm256_movemask_ps((__m256)mask));
#else
  return LanesOfFour(mask);
#endif
}

// Masks for the rows from .. end - 1 of a group.
struct RowMasks {
  // all ones in every lane of step k when row k is one of them
  alignas(16) std::int32_t steps[kRowGroup][kRowGroup + 1][kRowGroup][4];
  // all ones in the lanes of their rows
  alignas(32) std::int32_t lanes[kRowGroup][kRowGroup + 1][kRowGroup];
  constexpr RowMasks() : steps(), lanes() {
    for (int from = 0; from < kRowGroup; ++from) {
      for (int end = from; end <= kRowGroup; ++end) {
        for (int k = from; k < end; ++k) {
          lanes[from][end][k] = -1;
          for (std::int32_t& lane : steps[from][end][k]) lane = -1;
        }
      }
    }
  }
};
inline constexpr RowMasks kRowMasks;

// One row a lane.
struct RowCuts {
  RowFloats leftX, rightX, leftU, rightU;
  RowInts used;  // all ones in lanes that hold a row
};

// Of vectors of four values, one a row, to vectors of rows, one a value.
ORVANDEL_INLINE void TransposeRows(const FourFloats (&at)[kRowGroup], RowCuts& cuts) {
  const FourFloats x01 = __builtin_shufflevector(at[0], at[1], 0, 4, 1, 5);
  const FourFloats x23 = __builtin_shufflevector(at[2], at[3], 0, 4, 1, 5);
  const FourFloats u01 = __builtin_shufflevector(at[0], at[1], 2, 6, 3, 7);
  const FourFloats u23 = __builtin_shufflevector(at[2], at[3], 2, 6, 3, 7);
#if defined(__AVX512F__)
  const FourFloats x45 = __builtin_shufflevector(at[4], at[5], 0, 4, 1, 5);
  const FourFloats x67 = __builtin_shufflevector(at[6], at[7], 0, 4, 1, 5);
  const FourFloats u45 = __builtin_shufflevector(at[4], at[5], 2, 6, 3, 7);
  const FourFloats u67 = __builtin_shufflevector(at[6], at[7], 2, 6, 3, 7);
  const auto join = [](const FourFloats& upper, const FourFloats& lower) __attribute__((always_inline)) {
    return (RowFloats)_mm256_insertf128_ps(_mm256_castps128_ps256(upper), lower, 1);
  };
  const RowFloats x02 = join(x01, x45), x13 = join(x23, x67), u02 = join(u01, u45), u13 = join(u23, u67);
  cuts.leftX = __builtin_shufflevector(x02, x13, 0, 1, 8, 9, 4, 5, 12, 13);
  cuts.rightX = __builtin_shufflevector(x02, x13, 2, 3, 10, 11, 6, 7, 14, 15);
  cuts.leftU = __builtin_shufflevector(u02, u13, 0, 1, 8, 9, 4, 5, 12, 13);
  cuts.rightU = __builtin_shufflevector(u02, u13, 2, 3, 10, 11, 6, 7, 14, 15);
#else
  cuts.leftX = __builtin_shufflevector(x01, x23, 0, 1, 4, 5);
  cuts.rightX = __builtin_shufflevector(x01, x23, 2, 3, 6, 7);
  cuts.leftU = __builtin_shufflevector(u01, u23, 0, 1, 4, 5);
  cuts.rightU = __builtin_shufflevector(u01, u23, 2, 3, 6, 7);
#endif
}

// Calls take(row, cuts) for rows y .. end - 1 of the edges in slots a and b, group by group; `row` is the first lane's,
// counted from the band's first row. Cuts are as the edges stand, not yet ordered. Leaves the edges on row `end`.
template <typename Take>
ORVANDEL_INLINE void ForRowGroups(LivePiece& piece, int a, int b, std::int32_t y, std::int32_t end,
                                  std::int32_t bandRow, Take take) {
  FourFloats edges{piece.x[a], piece.x[b], piece.u[a], piece.u[b]};
  const FourFloats step{piece.dxdy[a], piece.dxdy[b], piece.dudy[a], piece.dudy[b]};
  y -= bandRow;
  end -= bandRow;
  std::int32_t from = y & (kRowGroup - 1);
  for (std::int32_t row = y - from; row < end; row += kRowGroup) {
    const std::int32_t rows = Smaller(end - row, kRowGroup);
    FourFloats at[kRowGroup];
    for (int k = 0; k < kRowGroup; ++k) {
      at[k] = edges;
      edges += (FourFloats)((FourInts)step & Load<FourInts>(kRowMasks.steps[from][rows][k]));
    }
    RowCuts cuts;
    TransposeRows(at, cuts);
    cuts.used = Load<RowInts>(kRowMasks.lanes[from][rows]);
    take(row, cuts);
    from = 0;
  }
  piece.x[a] = edges[0];
  piece.x[b] = edges[1];
  piece.u[a] = edges[2];
  piece.u[b] = edges[3];
}

// Cells of a group of rows, counted from the band's first column.
struct RowCells {
  RowInts first, last;
  RowInts traced;  // all ones in lanes of rows that leave a trace
};

// What differs with the outline's side, as masks: the side is data here, not a branch. It changes from run to run as by
// chance, and a wrong guess costs the processor as much as a dozen rows.
struct SideMasks {
  // all ones where the outline is the left / the right edge
  alignas(32) std::int32_t atLeft[kRowGroup], atRight[kRowGroup];
  alignas(32) std::int32_t neither[kRowGroup];                // kBehind where it is none of them
  alignas(32) float farLeft[kRowGroup], farRight[kRowGroup];  // beyond all columns, 0 where the outline is that edge
};

// A column behind all others.
inline constexpr std::int32_t kBehind = 0x7FFFFFFF;

constexpr SideMasks MakeSideMasks(OutlineSide side) {
  SideMasks masks{};
  for (int k = 0; k < kRowGroup; ++k) {
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

// OrderCut and TakeCells for a group of rows.
ORVANDEL_INLINE void TakeGroupCells(const RowCuts& cuts, const SideMasks& masks, std::int32_t lo, std::int32_t hi,
                                    std::int32_t firstColumn, RowCells& cells) {
  // The other edge is moved up to the outline, or to nowhere when there is none.
  const RowInts leftLimit = ((RowInts)cuts.leftX & Load<RowInts>(masks.atLeft)) | Load<RowInts>(masks.farLeft);
  const RowInts rightLimit = ((RowInts)cuts.rightX & Load<RowInts>(masks.atRight)) | Load<RowInts>(masks.farRight);
  const RowFloats leftX = SmallerLanes(cuts.leftX, (RowFloats)rightLimit);
  const RowFloats rightX = LargerLanes(cuts.rightX, (RowFloats)leftLimit);
  RowInts first = FloorOfRows(leftX), last = FloorOfRows(rightX);
  cells.traced = (RowInts)(leftX <= rightX) & (first <= hi) & cuts.used;
  first = LargerLanes(first, RowInts{} + lo);
  last = LargerLanes(SmallerLanes(last, RowInts{} + hi), first);
  // Wrapping: a lane without a trace may hold anything.
  const RowWords32 start = RowWords32{} + static_cast<std::uint32_t>(firstColumn);
  cells.first = (RowInts)((RowWords32)first - start);
  cells.last = (RowInts)((RowWords32)last - start);
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS
