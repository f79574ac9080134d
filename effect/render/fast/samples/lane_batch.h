// Runs of several rows, one row a lane, and where their sums belong.
#pragma once

#include "effect/render/fast/marks/band.h"
#include "effect/render/fast/pieces/run.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

static_assert(kLanes <= kMostRowsOfBatch);

// Lanes whose rows lie in one pixel row: a group. A batch of rows begins at a multiple of this, and a group's lanes
// begin at the same pixel.
template <int P>
inline constexpr int kLanesOfGroup = Smaller(P, kLanes);
template <int P>
inline constexpr int kGroups = kLanes / kLanesOfGroup<P>;

template <int P>
struct LaneBatch {
  Floats u, dudx;
  Ints filled;     // all ones in lanes that have samples
  Ints skip, end;  // the lane's columns of cells, skip .. end - 1, from its group's first pixel
  // All filled lanes have samples in columns allFrom .. allTo - 1; none has any from `columns` on.
  std::int32_t allFrom, allTo, columns;
  std::uint16_t* counters[kGroups<P>];  // of each group's first pixel
};

// Over the lanes where `filled`, of which there are some: the largest skip, the smallest and the largest end.
struct LaneLimits {
  std::int32_t largestSkip, smallestEnd, largestEnd;
};
inline LaneLimits LimitsOf(const Ints& filled, const Ints& skip, const Ints& end) {
  const Ints none = Ints{} + kNoFirstRow;
  // Largest numbers are the smallest ones of the other sign.
  const Ints a = filled ? -skip : none, b = filled ? end : none, c = filled ? -end : none;
  const auto smaller = [](const auto& v, const auto& w) __attribute__((always_inline)) { return Smaller(v, w); };
  const FourInts all = JoinToFour(JoinGroupsOfFour(a, b, c, c, smaller), smaller);
  return {-all[0], all[1], -all[2]};
}

// u of columns from .. from + 3, of which the first `count` have samples, lane by lane; `at` is u in the first of them
// and goes on to the next four. Whether all filled lanes have samples in all of them: the others stand still until they
// begin.
template <int P>
ORVANDEL_INLINE bool StepFourColumns(const LaneBatch<P>& batch, std::int32_t from, std::int32_t count, Floats& at,
                                     Floats (&u)[4]) {
  const bool all = from >= batch.allFrom && from + 4 <= batch.allTo;
  if (all) {
    for (std::int32_t k = 0; k < 4; ++k) {
      u[k] = at;
      if (k < count) at += batch.dudx;
    }
  } else {
    for (std::int32_t k = 0; k < 4; ++k) {
      u[k] = at;
      if (k < count) at = batch.skip <= from + k ? at + batch.dudx : at;
    }
  }
  return all;
}

// Totals of four pixels as they stand in the counters, beside each other: no counter ever exceeds its 16 bits, so that
// four are added to as one number.
ORVANDEL_INLINE void AddFourCounters(std::uint16_t* place, std::uint64_t total) {
  Store(place, Load<std::uint64_t>(place) + total);
}

// Adds to the counters of the four pixels from column x on. Groups that end before are padded with zeros. For every
// group, or every four lanes of a larger one, `totals` has `step` totals, of which the first one counts.
template <int P, int step, typename V>
ORVANDEL_INLINE void AddToCounters(const V& totals, std::int32_t x, std::uint16_t* const (&counters)[kGroups<P>]) {
  constexpr int kFours = Larger(kLanesOfGroup<P> / 4, 1);
  std::uint64_t each[sizeof(V) / 8];
  Store(each, totals);
  for (int group = 0; group < kGroups<P>; ++group) {
    std::uint64_t total = 0;
    for (int four = 0; four < kFours; ++four) total += each[(group * kFours + four) * step];
    AddFourCounters(counters[group] + x / P, total);
  }
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS
