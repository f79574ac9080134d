// Walks one piece of the band through its rows, independently of all other pieces.
//
// The plain scan goes row by row and asks every live piece. But nothing a piece does on a row depends on another piece:
// indices meet by their minimum, crossings by toggling, and both come out the same in any order. So here a piece is
// taken through all its rows at once. Between the rows where one of its edges begins or ends, the same edges are
// active; nearly always two, and then which is left and which is right needs no search:
//
//   two active edges in slots a < b        plain rule                                  here
//   the outline edge is one of them        it is taken, the other is moved up to it    the same
//   neither is the outline edge            smaller x left, larger right, nothing when  nothing when x[a] > x[b]
//                                          the slots are then in the wrong order
//
// Three or four are cut row by row.
//
// An edge's x and u stay chains of single additions, one a row, from its first row on.
//
// Wild rows. Samples normally have u between 0 and 1 and a little rounding error; a sample whose index would be 501
// or more is dropped. On a row that is not wild no sample's u * 500 reaches 501 or falls to -1:
//   - a ruling of at most kLongestRuling rows drifts by at most half an ulp (2^-24 below u = 2) a row;
//   - a run of at most kLongestRun samples drifts as much again; all else is relative errors of a few 2^-24;
//   - together less than 30,750 x 2^-24 < 0.00184; the room is 0.002.
// Longer rulings are asked for the u that they have come to: within kDrifted of 0 and 1, at most kLongestRuling rows
// further on, it is as good. They are asked when the piece is loaded, for all rows to be drawn, and only those that
// cannot tell so early once more where they are cut.
// Whether a run is that long is asked where two edges part: a piece from one end of the picture to the other may still
// be narrow on every row.
// The first sample's distance from the left edge, 1 - (x - floor(x)), has a rounding error of its own when x is in
// (-1, 0): pieces that reach there are wild when columns left of 0 may be touched.
#pragma once

#include "effect/render/fast/job/stroke_job.h"
#include "effect/render/fast/pieces/edge_steps.h"
#include "effect/render/stroke/cut_rule.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

inline constexpr std::int32_t kLongestRuling = 6144;  // more than 1080 pixel rows of quality 4 have
inline constexpr float kDrifted = 0.0001F;            // 1,678 x 2^-24: together with the above still less than 0.00194
inline constexpr std::int32_t kLongestRun = 24576;
inline constexpr std::int32_t kMostRowsTogether = 8;  // of a group, in any instruction set

enum class OutlineSide { kNone, kLeft, kRight };

// Where a piece begins and ends on a row.
struct Cut {
  float leftX, rightX, leftU, rightU;
  OutlineSide outline;
  unsigned slots;  // the two edges' slots, one bit each
};

// Moves the other edge up to the outline: on one row, or on a row a lane. Where none of them is the outline nothing is
// left when they stand in the wrong order.
template <typename X, typename Mask>
ORVANDEL_INLINE void MoveToOutline(X& leftX, X& rightX, const Mask& atLeft, const Mask& atRight) {
  const X right = Select(atLeft, Larger(rightX, leftX), rightX);
  leftX = Select(atRight, Smaller(leftX, rightX), leftX);
  rightX = right;
}
// False when nothing is left.
ORVANDEL_INLINE bool OrderCut(OutlineSide side, float& leftX, float& rightX) {
  MoveToOutline(leftX, rightX, side == OutlineSide::kLeft, side == OutlineSide::kRight);
  return leftX <= rightX;
}

// The columns of a run, already within those that may be touched. Crossings fall on `first` or `last`, samples on
// first .. last - 1.
struct Columns {
  std::int32_t first, last;
};

// False when the piece leaves no trace on the row.
ORVANDEL_INLINE bool ClipColumns(float leftX, float rightX, std::int32_t lo, std::int32_t hi, Columns& run) {
  const std::int32_t first = Floor(leftX);
  if (first > hi) return false;
  run.first = Larger(first, lo);
  run.last = Larger(Smaller(Floor(rightX), hi), run.first);
  return true;
}

// The first row after `y` on which an edge begins or ends, and the slots active on `y`, one bit each.
ORVANDEL_INLINE std::int32_t NextChange(const LivePiece& piece, std::int32_t y, unsigned& active) {
  const FourInts first = Load<FourInts>(piece.first), end = Load<FourInts>(piece.end);
  const FourInts begun = first <= y, goesOn = end > y;
  active = MaskBits(begun & goesOn);
  const FourInts change = begun ? (goesOn ? end : FourInts{} + kNoFirstRow) : first;
  return SmallestLane(change);
}

// False when the piece is not cut on the row.
inline bool FindCut(const LivePiece& piece, unsigned active, Cut& cut) {
  const bool outlineLeft = piece.outlineSlot == 0;
  int left, right;
  const auto x = [&](int slot) __attribute__((always_inline)) { return piece.x[slot]; };
  if (!FindBounds(active, outlineLeft, x, left, right)) return false;
  cut = {piece.x[left], piece.x[right], piece.u[left], piece.u[right], OutlineSide::kNone, 1U << left | 1U << right};
  if (outlineLeft && left == 0) cut.outline = OutlineSide::kLeft;
  if (!outlineLeft && right == 3) cut.outline = OutlineSide::kRight;
  // Without the outline the rule has put them in order already, but for one case of three or four edges: kept.
  if (cut.outline != OutlineSide::kNone) OrderCut(cut.outline, cut.leftX, cut.rightX);
  return true;
}

inline void StepEdge(LivePiece& piece, int slot, std::int32_t rows) {
  FourFloats v{piece.x[slot], piece.u[slot]};
  StepRows(v, FourFloats{piece.dxdy[slot], piece.dudy[slot]}, rows);
  piece.x[slot] = v[0];
  piece.u[slot] = v[1];
}

inline void StepEdges(LivePiece& piece, unsigned active, std::int32_t rows) {
  for (; active != 0; active &= active - 1) StepEdge(piece, __builtin_ctz(active), rows);
}

// Whether u of a ruling stays near enough to 0 and 1 for so many rows.
ORVANDEL_INLINE bool StaysInRange(const LivePiece& piece, int slot, std::int32_t rows) {
  const float u = piece.u[slot], last = u + piece.dudy[slot] * static_cast<float>(rows - 1);
  return Smaller(u, last) >= -kDrifted && Larger(u, last) <= 1.0F + kDrifted && rows <= kLongestRuling;
}

// Whether samples between the edges in these slots may leave the safe range, for so many rows.
ORVANDEL_INLINE bool IsWildBetween(const LivePiece& piece, unsigned slots, std::int32_t rows) {
  if (piece.wild) return true;
  for (unsigned left = slots & piece.longRulings; left != 0; left &= left - 1) {
    if (!StaysInRange(piece, __builtin_ctz(left), rows)) return true;
  }
  return false;
}

// Row by row: rows.OneRow(y, cut, wild) for every row y .. end - 1 on which the piece is cut.
template <typename Rows>
inline void WalkRowByRow(LivePiece& piece, std::int32_t y, std::int32_t end, unsigned active, Rows& rows) {
  for (; y < end; ++y) {
    Cut cut;
    if (FindCut(piece, active, cut)) rows.OneRow(y, cut, IsWildBetween(piece, cut.slots, 1));
    StepEdges(piece, active, 1);
  }
}

// Whether the two active edges may lie further apart than a run may be long, on any of so many rows.
ORVANDEL_INLINE bool MayRunLong(const LivePiece& piece, unsigned active, std::int32_t rows) {
  if (!piece.wide) return false;
  const int a = __builtin_ctz(active), b = 31 - __builtin_clz(active);
  const float now = piece.x[b] - piece.x[a];
  const float then = now + (piece.dxdy[b] - piece.dxdy[a]) * static_cast<float>(rows - 1);
  const float limit = static_cast<float>(kLongestRun) - piece.drift;
  return !(now < limit && -now < limit && then < limit && -then < limit);
}

// Leads the piece from row `y` to row `end`. For two edges a < b that bound it alone until row n it calls
// rows.Run(piece, a, b, side, y, n), which also steps them.
template <typename Rows>
inline void WalkPiece(LivePiece& piece, std::int32_t y, std::int32_t end, Rows& rows) {
  y = Larger(y, piece.firstBegin);
  end = Smaller(end, piece.lastEnd);
  while (y < end) {
    unsigned active;
    const std::int32_t next = Smaller(NextChange(piece, y, active), end);
    const int count = __builtin_popcount(active);
    if (count < 2) {
      StepEdges(piece, active, next - y);
    } else if (count > 2 || IsWildBetween(piece, active, next - y) || MayRunLong(piece, active, next - y)) {
      WalkRowByRow(piece, y, next, active, rows);
    } else {
      const bool outline = (active >> piece.outlineSlot & 1U) != 0;
      const OutlineSide side = !outline                 ? OutlineSide::kNone
                               : piece.outlineSlot == 0 ? OutlineSide::kLeft
                                                        : OutlineSide::kRight;
      rows.Run(piece, __builtin_ctz(active), 31 - __builtin_clz(active), side, y, next);
    }
    y = next;
  }
}

// Whether more than two edges are active on some row; then they are where one of them begins.
inline bool IsCrowded(const LivePiece& piece) {
  const FourInts first = Load<FourInts>(piece.first), end = Load<FourInts>(piece.end);
  bool crowded = false;
  for (int slot = 0; slot < 4; ++slot) {
    const std::int32_t y = piece.first[slot];
    crowded |= __builtin_popcount(MaskBits((first <= y) & (end > y))) > 2;
  }
  return crowded;
}

// Gathers a new piece's edges; `i` is the point its segment ends at.
class PieceLoader {
 public:
  explicit PieceLoader(const DrawJob& job)
      : edges_(job.edges),
        lo_(job.lo),
        hi_(job.hi),
        firstRow_(job.firstRow),
        endRow_(job.endRow),
        inWholeGroups_(job.bandRows * PitchOf(job.quality) % kMostRowsTogether == 0) {}

  void Load(std::int32_t i, LivePiece& piece) const {
    const bool outlineLeft = edges_.y[i - 1] > edges_.y[i];
    const bool swapped = RulingsAreSwapped(i);
    LoadEdge(piece, outlineLeft ? 0 : 3, edges_.outline, i, 0.0F, 0.0F);
    LoadEdge(piece, outlineLeft ? 3 : 0, edges_.offset, i, 1.0F, 0.0F);
    LoadRuling(piece, swapped ? 2 : 1, i > 0 ? i - 1 : edges_.count - 1);
    LoadRuling(piece, swapped ? 1 : 2, i);
    piece.outlineSlot = outlineLeft ? 0 : 3;
    piece.firstBegin = Smaller(Smaller(piece.first[0], piece.first[1]), Smaller(piece.first[2], piece.first[3]));
    piece.lastEnd = Larger(Larger(piece.end[0], piece.end[1]), Larger(piece.end[2], piece.end[3]));
    Judge(piece, i);
    if (piece.longRulings != 0) BoundRows(piece);
    const std::int32_t y = Larger(firstRow_, piece.firstBegin);
    for (int slot = 0; slot < 4 && y < piece.lastEnd; ++slot) {
      const std::int32_t first = piece.first[slot], end = Smaller(y, piece.end[slot]);
      if (first < end) StepEdge(piece, slot, end - first);
    }
    if (piece.longRulings != 0) SettleLongRulings(piece);
    piece.tame = inWholeGroups_ && !piece.wild && !piece.wide && piece.longRulings == 0 && !IsCrowded(piece);
  }

 private:
  static void LoadEdge(LivePiece& piece, int slot, const EdgeArrays& from, std::int32_t i, float u, float dudy) {
    piece.x[slot] = from.x[i];
    piece.dxdy[slot] = from.dxdy[i];
    piece.u[slot] = u;
    piece.dudy[slot] = dudy;
    piece.first[slot] = from.first[i];
    piece.end[slot] = from.end[i];
  }

  void LoadRuling(LivePiece& piece, int slot, std::int32_t i) const {
    LoadEdge(piece, slot, edges_.ruling, i, edges_.rulingU[i], edges_.rulingDudy[i]);
  }

  // Whether the ruling at point i stands left of the one at i - 1, at the segment's mid height.
  bool RulingsAreSwapped(std::int32_t i) const {
    const std::int32_t before = i > 0 ? i - 1 : edges_.count - 1;
    const bool both = edges_.y[before] != edges_.offsetY[before] && edges_.y[i] != edges_.offsetY[i];
    const float middle = (edges_.y[i] + edges_.y[before]) * 0.5F;
    const EdgeArrays& ruling = edges_.ruling;
    const auto xAt = [&](std::int32_t v) { return (middle - edges_.rulingStart[v]) * ruling.dxdy[v] + ruling.x[v]; };
    return both && xAt(i) <= xAt(before);
  }

  void Judge(LivePiece& piece, std::int32_t i) const {
    piece.longRulings = (Rows(piece, 1) > kLongestRuling ? 2U : 0U) | (Rows(piece, 2) > kLongestRuling ? 4U : 0U);
    piece.wild = false;
    piece.wide = false;
    if (hi_ - lo_ <= kLongestRun && lo_ >= 0) return;
    const float corners[] = {edges_.x[i - 1], edges_.x[i], edges_.offsetX[i - 1], edges_.offsetX[i]};
    float left = corners[0], right = corners[0];
    for (const float x : corners) {
      left = Smaller(left, x);
      right = Larger(right, x);
    }
    // No x of an edge is further than this from its straight line: half an ulp a row, doubled for dxdy's own error.
    std::int32_t rows = 8;
    for (int slot = 0; slot < 4; ++slot) rows = Larger(rows, Rows(piece, slot) + 8);
    const float drift = static_cast<float>(rows) * Larger(-left, right) * 0x1p-23F;
    left -= drift;
    right += drift;
    piece.wild = lo_ < 0 && left < 0 && right > -1;
    piece.wide = Smaller(right, static_cast<float>(hi_)) - Larger(left, static_cast<float>(lo_)) >
                 static_cast<float>(kLongestRun);
    piece.drift = 4 * drift + 2;  // of two edges, here and on the run's last row, and the cells' rounding
  }

  // Leaves out the rows before the first and behind the last one with two active edges: a long mitre has many that only
  // one edge meets.
  static void BoundRows(LivePiece& piece) {
    piece.firstBegin = kNoFirstRow;
    piece.lastEnd = kNoEndRow;
    for (int a = 0; a < 4; ++a) {
      for (int b = a + 1; b < 4; ++b) {
        const std::int32_t begin = Larger(piece.first[a], piece.first[b]), end = Smaller(piece.end[a], piece.end[b]);
        if (begin >= end) continue;
        piece.firstBegin = Smaller(piece.firstBegin, begin);
        piece.lastEnd = Larger(piece.lastEnd, end);
      }
    }
  }

  // Long rulings whose u stays in the safe range on all rows to be drawn are as good as others.
  void SettleLongRulings(LivePiece& piece) const {
    for (unsigned left = piece.longRulings; left != 0; left &= left - 1) {
      const int slot = __builtin_ctz(left);
      const std::int32_t y = Larger(piece.first[slot], Larger(piece.firstBegin, firstRow_));  // where its u stands
      const std::int32_t end = Smaller(piece.end[slot], Smaller(piece.lastEnd, endRow_));
      if (y >= end || StaysInRange(piece, slot, end - y)) piece.longRulings &= ~(1U << slot);
    }
  }

  static std::int32_t Rows(const LivePiece& piece, int slot) {
    return piece.first[slot] == kNoFirstRow ? 0 : piece.end[slot] - piece.first[slot];
  }

  const StrokeEdges& edges_;
  std::int32_t lo_, hi_, firstRow_, endRow_;
  bool inWholeGroups_;  // bands end where groups of rows do
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
