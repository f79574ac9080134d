// Whether the indices of a batch of rows lie close enough together for a window of the profile's alphas, and where.
//
// A profile has 512 alphas, too many for one look-up. But rows of one piece that begin at neighbouring pixels are at
// nearly the same u in every column, and u changes slowly where the stroke is wide: there a few neighbouring alphas are
// enough. Whether they are is decided for a whole batch of rows.
#pragma once

#include "effect/render/fast/samples/lane_batch.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// Places a window of `entries` alphas along the columns of a batch, which are done some at a time.
class WindowFit {
 public:
  // Whether the indices of any `together` columns that follow on each other fit, from column 0 on; columns of samples.
  //
  // The smallest of several linear functions lies nowhere below the line between its values at the ends, the largest
  // nowhere above.
  template <int P>
  bool Fits(const LaneBatch<P>& batch, const Grid<P>& grid, std::int32_t together, std::int32_t entries) {
    constexpr float kMargin = 2;  // how far rounding may carry u from the line, and more; see piece_walk.h
    // The smallest index in the first column and behind the last, and the largest with their signs turned.
    const std::int32_t columns = grid.SamplesBefore(batch.columns);
    const FourFloats ends = IndicesAtEnds(batch, grid, columns);
    const float part = static_cast<float>(together) / static_cast<float>(columns);
    const float rise = (ends[1] - ends[0]) * part, highestRise = (ends[2] - ends[3]) * part;
    const float apart = Larger(-ends[2] - ends[0], -ends[3] - ends[1]);
    rise_ = rise;
    next_ = ends[0] + Smaller(rise, 0.0F) - kMargin;
    last_ = static_cast<float>(kIndexEntries - entries);
    return apart + Larger(__builtin_fabsf(rise), __builtin_fabsf(highestRise)) <
           static_cast<float>(entries) - 2 * kMargin - 1;
  }

  // The first entry for the next columns, `part` of as many as fit. The first call is for the first ones.
  ORVANDEL_INLINE std::int32_t Next(float part) {
    const auto first = static_cast<std::int32_t>(Smaller(Larger(next_, 0.0F), last_));
    next_ += rise_ * part;
    return first;
  }

 private:
  template <int P>
  static FourFloats IndicesAtEnds(const LaneBatch<P>& batch, const Grid<P>& grid, std::int32_t columns) {
    const Floats rise = batch.dudx * kEntriesPerBand, far = Floats{} + 1E30F;
    const Floats first = batch.u * kEntriesPerBand - ToFloats(grid.SamplesBefore(batch.skip)) * rise;
    const Floats last = first + static_cast<float>(columns) * rise;
    const auto kept = [&](const Floats& v) __attribute__((always_inline)) { return batch.filled ? v : far; };
    const auto smaller = [](const auto& a, const auto& b) __attribute__((always_inline)) { return Smaller(a, b); };
    return JoinToFour(JoinGroupsOfFour(kept(first), kept(last), kept(-first), kept(-last), smaller), smaller);
  }

  float next_ = 0, rise_ = 0, last_ = 0;  // where the next window begins, its change, and its last place; in entries
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
