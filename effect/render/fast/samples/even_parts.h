// Where along a batch of rows u takes the same step from every column to the next, see even_columns.h.
#pragma once

#include "effect/render/fast/samples/window_fit.h"

#if defined(__AVX512VBMI__) && defined(__AVX512VNNI__)

namespace orvandel::fast::ORVANDEL_KERNELS {

// Columns of a part.
inline constexpr std::int32_t kEvenColumns = 16;

// Whether some sum u + dudx may lie midway between two floats, u from 1/8 on and below 2: such sums go to the even one,
// which may be the upper one now and the lower one next time. Floats there are 2^-26, 2^-25, 2^-24 or 2^-23 apart.
ORVANDEL_INLINE bool AnyMidway(const Floats& dudx) {
  constexpr int kToWhole = _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC;
  const auto halves = (__m512)(dudx * 0x1p27F), most = (__m512)(dudx * 0x1p23F);
  const __mmask16 whole = _mm512_cmp_ps_mask(halves, _mm512_roundscale_ps(halves, kToWhole), _CMP_EQ_OQ);
  return _mm512_mask_cmp_ps_mask(whole, most, _mm512_roundscale_ps(most, kToWhole), _CMP_NEQ_OQ) != 0;
}

// Bit k: in columns 16 k .. 16 k + 16 all rows have begun, and no u, nor its index before it is cut off, passes a power
// of two. Columns from 1024 on have no bit.
//
// An index is 500 u. So u passes powers of two at indices 62.5, 125, 250 and 500, and the index itself at 64, 128, 256
// and 512: what lies from 64 to 125, from 128 to 250 and so on is free of both. All rows' indices lie between two
// lines, see WindowFit, and rounding carries them off by less than the margin.
template <int Q>
ORVANDEL_INLINE std::uint64_t EvenPartsOf(const LaneBatch<Q>& batch, const IndexEnds& ends) {
  constexpr float kMargin = 2, kMost = 64 * kEvenColumns;
  const float perColumn = 1 / static_cast<float>(batch.columns);
  const float lowestRise = (ends.lowestLast - ends.lowestFirst) * perColumn;
  const float highestRise = (ends.highestLast - ends.highestFirst) * perColumn;
  const bool up = lowestRise > 0 && highestRise > 0, down = lowestRise < 0 && highestRise < 0;
  if ((!up && !down) || AnyMidway(batch.dudx)) return 0;

  const FourFloats from = FourFloats{64, 128, 256, 512} + kMargin, to = FourFloats{125, 250, 500, 1000} - kMargin;
  const FourFloats lowest = (from - ends.lowestFirst) * (1 / lowestRise);
  const FourFloats highest = (to - ends.highestFirst) * (1 / highestRise);
  FourFloats begin = up ? lowest : highest, end = up ? highest : lowest;
  const auto most = FourFloats{} + kMost;
  begin = _mm_min_ps(_mm_max_ps(begin, FourFloats{} + static_cast<float>(batch.allFrom)), most);
  end = _mm_max_ps(_mm_min_ps(end, most), FourFloats{});
  const __m128i first = _mm_cvttps_epi32(_mm_ceil_ps(begin * (1.0F / kEvenColumns)));
  const __m128i behind = _mm_cvttps_epi32(end * (1.0F / kEvenColumns));
  const __m256i ones = _mm256_set1_epi64x(-1);
  const __m256i bits = _mm256_andnot_si256(_mm256_sllv_epi64(ones, _mm256_cvtepi32_epi64(behind)),
                                           _mm256_sllv_epi64(ones, _mm256_cvtepi32_epi64(first)));
  const __m128i half = _mm_or_si128(_mm256_castsi256_si128(bits), _mm256_extracti128_si256(bits, 1));
  return static_cast<std::uint64_t>(_mm_cvtsi128_si64(half) | _mm_extract_epi64(half, 1));
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#endif
