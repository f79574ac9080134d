// Whether the indices of a batch of rows lie close enough together for a window of the profile's alphas, and where.
#pragma once

#include "effect/render/fast/pieces/run.h"
#include "effect/render/fast/samples/lane_batch.h"

#if defined(__AVX2__)

namespace orvandel::fast::ORVANDEL_KERNELS {

#if defined(__AVX512F__)
typedef __m512 FloatLanes;
#else
typedef __m256 FloatLanes;
#endif

// Lane k of each group of four: the smallest of that group's lanes of the k-th vector.
ORVANDEL_INLINE FloatLanes SmallestOfEach(FloatLanes a, FloatLanes b, FloatLanes c, FloatLanes d) {
#if defined(__AVX512F__)
  const __m512 ab = _mm512_min_ps(_mm512_unpacklo_ps(a, b), _mm512_unpackhi_ps(a, b));
  const __m512 cd = _mm512_min_ps(_mm512_unpacklo_ps(c, d), _mm512_unpackhi_ps(c, d));
  return _mm512_min_ps(_mm512_shuffle_ps(ab, cd, 0x44), _mm512_shuffle_ps(ab, cd, 0xEE));
#else
  const __m256 ab = _mm256_min_ps(_mm256_unpacklo_ps(a, b), _mm256_unpackhi_ps(a, b));
  const __m256 cd = _mm256_min_ps(_mm256_unpacklo_ps(c, d), _mm256_unpackhi_ps(c, d));
  return _mm256_min_ps(_mm256_shuffle_ps(ab, cd, 0x44), _mm256_shuffle_ps(ab, cd, 0xEE));
#endif
}
ORVANDEL_INLINE FourFloats SmallestGroup(FloatLanes v) {
#if defined(__AVX512F__)
  const __m256 half = _mm256_min_ps(_mm512_castps512_ps256(v), _mm512_extractf32x8_ps(v, 1));
#else
  const __m256 half = v;
#endif
  return _mm_min_ps(_mm256_castps256_ps128(half), _mm256_extractf128_ps(half, 1));
}

// The smallest and the largest index of a batch in the first column and behind the last.
struct IndexEnds {
  float lowestFirst, lowestLast, highestFirst, highestLast;
};

// Places a window of `entries` alphas along the columns of a batch, which are taken some at a time.
class WindowFit {
 public:
  // Whether the indices of any `together` columns that follow on each other fit, columns 0 .. batch.columns - 1.
  //
  // The smallest of several linear functions lies nowhere below the line between its values at the ends, the largest
  // nowhere above.
  template <int Q>
  bool Fits(const LaneBatch<Q>& batch, std::int32_t together, std::int32_t entries) {
    constexpr float kMargin = 2;  // how far rounding may carry u from the line, and more; see piece_walk.h
    ends_ = IndicesAtEnds(batch);
    const IndexEnds& ends = ends_;
    const float part = static_cast<float>(together) / static_cast<float>(batch.columns);
    const float rise = (ends.lowestLast - ends.lowestFirst) * part;
    const float highestRise = (ends.highestLast - ends.highestFirst) * part;
    const float apart = Larger(ends.highestFirst - ends.lowestFirst, ends.highestLast - ends.lowestLast);
    rise_ = rise;
    next_ = ends.lowestFirst + Smaller(rise, 0.0F) - kMargin;
    last_ = static_cast<float>(kIndexEntries - entries);
    return apart + Larger(__builtin_fabsf(rise), __builtin_fabsf(highestRise)) <
           static_cast<float>(entries) - 2 * kMargin - 1;
  }

  // Of the batch that was to fit.
  const IndexEnds& Ends() const { return ends_; }

  // The first entry for the next columns. The first call is for the first ones.
  ORVANDEL_INLINE std::int32_t Next() {
    const auto first = static_cast<std::int32_t>(Smaller(Larger(next_, 0.0F), last_));
    next_ += rise_;
    return first;
  }

 private:
  template <int Q>
  static IndexEnds IndicesAtEnds(const LaneBatch<Q>& batch) {
    const Floats rise = batch.dudx * kEntriesPerBand, far = Floats{} + 1E30F;
    const Floats first = batch.u * kEntriesPerBand - ToFloats(batch.skip) * rise;
    const Floats last = first + static_cast<float>(batch.columns) * rise;
    const auto kept = [&](const Floats& v) __attribute__((always_inline)) {
      return (FloatLanes)(batch.filled ? v : far);
    };
    const FourFloats all = SmallestGroup(SmallestOfEach(kept(first), kept(last), kept(-first), kept(-last)));
    return {all[0], all[1], -all[2], -all[3]};
  }

  IndexEnds ends_{};
  float next_ = 0, rise_ = 0, last_ = 0;  // where the next window begins, its change, and its last place; in entries
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#endif
