// Which two edges bound a piece on a row.
//
// A piece has its edges in four slots, from left to right: 0 and 3 the outline and the offset edge as they stand, 1 and
// 2 the rulings. The outline edge decides on its side; the other side is the nearest of the remaining edges. Edges that
// stand in the wrong order leave nothing.
#pragma once

namespace orvandel {

inline constexpr int kNoSlot = -1;

// `active`: slots that the row meets, one bit each; x(slot): where. These have no name for the linker: they are
// compiled for several instruction sets.
template <typename X>
__attribute__((always_inline)) inline int LeftmostSlot(unsigned active, const X& x) {
  int best = kNoSlot;
  for (int i = 1; i <= 3; ++i) {
    if ((active >> i & 1U) != 0 && (best == kNoSlot || x(i) < x(best))) best = i;
  }
  return best;
}
template <typename X>
__attribute__((always_inline)) inline int RightmostSlot(unsigned active, const X& x, bool lastOfEqual) {
  int best = kNoSlot;
  for (int i = 0; i <= 2; ++i) {
    if ((active >> i & 1U) == 0) continue;
    if (best == kNoSlot || x(i) > x(best) || (lastOfEqual && x(i) == x(best))) best = i;
  }
  return best;
}

template <typename X>
__attribute__((always_inline)) inline bool FindBounds(unsigned active, bool outlineLeft, const X& x, int& left,
                                                      int& right) {
  if (outlineLeft) {
    left = (active & 1U) != 0 ? 0 : LeftmostSlot(active, x);
    right = left == kNoSlot ? kNoSlot : LeftmostSlot(active & ~(1U << left), x);
  } else {
    right = (active & 8U) != 0 ? 3 : RightmostSlot(active, x, true);
    left = right == kNoSlot ? kNoSlot : RightmostSlot(active & ~(1U << right), x, false);
  }
  return left != kNoSlot && right != kNoSlot && left <= right;
}

}  // namespace orvandel
