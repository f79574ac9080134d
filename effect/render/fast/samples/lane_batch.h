// Runs of several rows, one row a lane, and where their sums belong.
#pragma once

#include "effect/render/fast/marks/band.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

static_assert(kLanes <= kMostRowsOfBatch);

// Lanes whose rows lie in one pixel row: a group. A batch of rows begins at a multiple of this, and a group's lanes
// begin at the same pixel.
constexpr int LanesOfGroup(int quality) {
  if (quality == 0) return 1;
  if (quality < 4) return quality;
  if (quality % kLanes == 0) return kLanes;
  return quality % 8 == 0 && kLanes > 8 ? 8 : 4;
}
template <int Q>
inline constexpr int kLanesOfGroup = LanesOfGroup(Q);
template <int Q>
inline constexpr int kGroups = kLanes / kLanesOfGroup<Q>;
// Where groups differ from batch to batch, all lanes begin at one pixel.
template <int Q>
inline constexpr int kLanesFromOnePixel = Q == 0 ? kLanes : kLanesOfGroup<Q>;

template <int Q>
struct LaneBatch {
  Floats u, dudx;
  Ints filled;     // all ones in lanes that have samples
  Ints skip, end;  // the lane's columns, skip .. end - 1, from its group's first pixel
  // All filled lanes have samples in columns allFrom .. allTo - 1; none has any from `columns` on.
  std::int32_t allFrom, allTo, columns;
  std::uint16_t* counters[kGroups<Q>];  // of each group's first pixel
};

// The smallest of each group's lanes, in all of its lanes.
template <int size>
inline Ints SmallestOfGroup(const Ints& v) {
#if defined(__AVX512F__)
  const auto smaller = [](__m512i a, __m512i b) { return _mm512_min_epi32(a, b); };
  auto all = (__m512i)v;
  if constexpr (size >= 2) all = smaller(all, _mm512_shuffle_epi32(all, _MM_PERM_CDAB));
  if constexpr (size >= 4) all = smaller(all, _mm512_shuffle_epi32(all, _MM_PERM_BADC));
  if constexpr (size >= 8) all = smaller(all, _mm512_shuffle_i32x4(all, all, _MM_PERM_CDAB));
  if constexpr (size >= 16) all = smaller(all, _mm512_shuffle_i32x4(all, all, _MM_PERM_BADC));
  return (Ints)all;
#elif defined(__AVX2__)
  const auto smaller = [](__m256i a, __m256i b) { return _mm256_min_epi32(a, b); };
  auto all = (__m256i)v;
  if constexpr (size >= 2) all = smaller(all, _mm256_shuffle_epi32(all, 0xB1));
  if constexpr (size >= 4) all = smaller(all, _mm256_shuffle_epi32(all, 0x4E));
  if constexpr (size >= 8) all = smaller(all, _mm256_permute2x128_si256(all, all, 1));
  return (Ints)all;
#else
  Ints result;
  for (int i = 0; i < kLanes; i += size) {
    std::int32_t smallest = v[i];
    for (int k = i + 1; k < i + size; ++k) smallest = Smaller<std::int32_t>(smallest, v[k]);
    for (int k = i; k < i + size; ++k) result[k] = smallest;
  }
  return result;
#endif
}

#if defined(__AVX2__)
// Lane k: the smallest lane of the k-th vector, for the first three.
ORVANDEL_INLINE FourInts SmallestOfThree(const Ints& first, const Ints& second, const Ints& third) {
#if defined(__AVX512F__)
  const auto smaller = [](__m512i a, __m512i b) { return _mm512_min_epi32(a, b); };
  const auto a = (__m512i)first, b = (__m512i)second, c = (__m512i)third;
  const __m512i ab = smaller(_mm512_unpacklo_epi32(a, b), _mm512_unpackhi_epi32(a, b));
  const __m512i cc = smaller(_mm512_unpacklo_epi32(c, c), _mm512_unpackhi_epi32(c, c));
  const __m512i abc = smaller(_mm512_unpacklo_epi64(ab, cc), _mm512_unpackhi_epi64(ab, cc));
  const __m256i half = _mm256_min_epi32(_mm512_castsi512_si256(abc), _mm512_extracti64x4_epi64(abc, 1));
#else
  const auto smaller = [](__m256i a, __m256i b) { return _mm256_min_epi32(a, b); };
  const auto a = (__m256i)first, b = (__m256i)second, c = (__m256i)third;
  const __m256i ab = smaller(_mm256_unpacklo_epi32(a, b), _mm256_unpackhi_epi32(a, b));
  const __m256i cc = smaller(_mm256_unpacklo_epi32(c, c), _mm256_unpackhi_epi32(c, c));
  const __m256i half = smaller(_mm256_unpacklo_epi64(ab, cc), _mm256_unpackhi_epi64(ab, cc));
#endif
  return (FourInts)_mm_min_epi32(_mm256_castsi256_si128(half), _mm256_extracti128_si256(half, 1));
}
#endif

// Over the lanes where `filled`, of which there are some: the largest skip, the smallest and the largest end.
struct LaneLimits {
  std::int32_t largestSkip, smallestEnd, largestEnd;
};
inline LaneLimits LimitsOf(const Ints& filled, const Ints& skip, const Ints& end) {
  const Ints none = Ints{} + kNoFirstRow;
#if defined(__AVX2__)
  // The smallest of three vectors together; largest numbers are smallest ones of the other sign.
  const Ints a = filled ? -skip : none, b = filled ? end : none, c = filled ? -end : none;
  const auto all = SmallestOfThree(a, b, c);
  return {-all[0], all[1], -all[2]};
#else
  return {LargestLane(filled ? skip : Ints{}), SmallestLane(filled ? end : none), LargestLane(filled ? end : Ints{})};
#endif
}

// u of columns from .. from + 3, lane by lane; `at` is u in the first of them and goes on to the next four. Whether all
// filled lanes have samples in all of them: the others stand still until they begin.
template <int Q>
ORVANDEL_INLINE bool TakeFourColumns(const LaneBatch<Q>& batch, std::int32_t from, Floats& at, Floats (&u)[4]) {
  const bool all = from >= batch.allFrom && from + 4 <= batch.allTo;
  if (all) {
    for (Floats& each : u) {
      each = at;
      at += batch.dudx;
    }
  } else {
    for (std::int32_t k = 0; k < 4; ++k) {
      u[k] = at;
      at = batch.skip <= from + k ? at + batch.dudx : at;
    }
  }
  return all;
}

// Totals of four pixels as they stand in the counters, beside each other: no counter ever exceeds its 16 bits, so that
// four are added to as one number. One total for every four lanes.
typedef std::uint64_t Totals __attribute__((vector_size(2 * kLanes)));

// sums[k] holds each lane's samples of the k-th pixel.
ORVANDEL_INLINE Totals TotalsOf(const Ints (&sums)[4]) {
#if defined(__AVX512F__)
  const auto add = [](__m512i a, __m512i b) { return _mm512_add_epi32(a, b); };
  const __m512i s0 = (__m512i)sums[0], s1 = (__m512i)sums[1], s2 = (__m512i)sums[2], s3 = (__m512i)sums[3];
  const __m512i s01 = add(_mm512_unpacklo_epi32(s0, s1), _mm512_unpackhi_epi32(s0, s1));
  const __m512i s23 = add(_mm512_unpacklo_epi32(s2, s3), _mm512_unpackhi_epi32(s2, s3));
  const auto all = (Words)add(_mm512_unpacklo_epi64(s01, s23), _mm512_unpackhi_epi64(s01, s23));
#elif defined(__AVX2__)
  const auto add = [](__m256i a, __m256i b) { return _mm256_hadd_epi32(a, b); };
  const auto all = (Words)add(add((__m256i)sums[0], (__m256i)sums[1]), add((__m256i)sums[2], (__m256i)sums[3]));
#else
  Words all;
  for (int k = 0; k < 4; ++k) all[k] = static_cast<std::uint32_t>(sums[k][0] + sums[k][1] + sums[k][2] + sums[k][3]);
#endif
  return (Totals) __builtin_convertvector(all, Halves);
}

ORVANDEL_INLINE void AddFourCounters(std::uint16_t* place, std::uint64_t total) {
  Store(place, Load<std::uint64_t>(place) + total);
}

// Adds to the counters of the four pixels from column x on. Groups that end before add zeros behind. For every group,
// or every four lanes of a larger one, the vector has `step` entries, of which the first one counts.
template <int Q, int step, typename Vector>
ORVANDEL_INLINE void AddToCounters(const Vector& totals, std::int32_t x, std::uint16_t* const (&counters)[kGroups<Q>]) {
  constexpr int kFours = Larger(kLanesOfGroup<Q> / 4, 1);
  for (int group = 0; group < kGroups<Q>; ++group) {
    std::uint64_t total = 0;
    for (int four = 0; four < kFours; ++four) total += totals[(group * kFours + four) * step];
    AddFourCounters(counters[group] + x / Q, total);
  }
}

// The same for every lane by itself, whose counters may be those of the lane before.
ORVANDEL_INLINE void AddToCountersOfLanes(const Ints (&sums)[4], std::int32_t pixel,
                                          std::uint16_t* const (&counters)[kLanes]) {
  std::uint32_t lower[kLanes], upper[kLanes];
  Store(lower, (Words)sums[0] | (Words)sums[1] << 16);
  Store(upper, (Words)sums[2] | (Words)sums[3] << 16);
  for (int lane = 0; lane < kLanes; ++lane) {
    AddFourCounters(counters[lane] + pixel, lower[lane] | std::uint64_t{upper[lane]} << 32);
  }
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS
