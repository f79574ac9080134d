// Alphas of sixteen rows by four columns whose indices lie close together.
//
// A profile has 512 alphas, which is four permutations and as many selections for 64 indices. But rows of one piece
// that begin at neighbouring pixels are at nearly the same u in every column, and u changes slowly where the stroke is
// wide: there 128 neighbouring alphas are enough, which are one permutation. Whether they are is decided for a whole
// batch of rows.
#pragma once

#include "effect/render/fast/run.h"

#if defined(__AVX512VBMI__) && defined(__AVX512VNNI__)

namespace orvandel::fast::ORVANDEL_KERNELS {

// u of sixteen rows from column to column: at `u` in column `skip`.
struct RowLines {
  __m512 u, dudx;
  __m512i skip;
  __mmask16 filled;  // the other rows do not matter
};

class AlphaWindow {
 public:
  AlphaWindow() = default;
  explicit AlphaWindow(const std::uint8_t* alphas) : alphas_(alphas) {}

  // Whether the indices of any `together` columns that follow on each other fit, columns 0 .. columns - 1.
  //
  // The smallest of several linear functions lies nowhere below the line between its values at the ends, the largest
  // nowhere above.
  bool Fits(const RowLines& rows, std::int32_t columns, std::int32_t together) {
    constexpr float kMargin = 2;  // how far rounding may carry u from the line, and more; see piece_walk.h
    const Ends ends = IndicesAtEnds(rows, static_cast<float>(columns));
    const float part = static_cast<float>(together) / static_cast<float>(columns);
    const float rise = (ends.lowestLast - ends.lowestFirst) * part;
    const float highestRise = (ends.highestLast - ends.highestFirst) * part;
    const float apart = Larger(ends.highestFirst - ends.lowestFirst, ends.highestLast - ends.lowestLast);
    rise_ = rise;
    next_ = ends.lowestFirst + Smaller(rise, 0.0F) - kMargin;
    return apart + Larger(__builtin_fabsf(rise), __builtin_fabsf(highestRise)) < kEntries - 2 * kMargin - 1;
  }

  // Places the window for the next columns. The first call places it for the first ones.
  ORVANDEL_INLINE void Advance() {
    constexpr float kLast = kIndexEntries - kEntries;
    const auto first = static_cast<std::int32_t>(Smaller(Larger(next_, 0.0F), kLast));
    next_ += rise_;
    lower_ = _mm512_loadu_si512(alphas_ + first);
    upper_ = _mm512_loadu_si512(alphas_ + first + 64);
    first_ = _mm512_set1_epi16(static_cast<std::int16_t>(first));
  }

  // The alphas at u, one column a vector, where `counted`: bytes, for every four rows those of the first column, then
  // those of the second, the third and the fourth.
  ORVANDEL_INLINE __m512i Alphas(const __m512 (&u)[4], __mmask64 counted) const {
    const __m512i ab = _mm512_sub_epi16(_mm512_packs_epi32(IndexAt(u[0]), IndexAt(u[1])), first_);
    const __m512i cd = _mm512_sub_epi16(_mm512_packs_epi32(IndexAt(u[2]), IndexAt(u[3])), first_);
    return _mm512_maskz_permutex2var_epi8(counted, lower_, _mm512_packus_epi16(ab, cd), upper_);
  }

  // Bits for Alphas: column from + k of each row when first <= from + k < end.
  ORVANDEL_INLINE static __mmask64 Within(const __m512i& first, const __m512i& end, std::int32_t from) {
    const __m512i column = _mm512_set1_epi32(0x03020100);
    const __m512i columns = _mm512_shuffle_epi8(column, _mm512_set4_epi32(0x03030303, 0x02020202, 0x01010101, 0));
    const __m512i origin = _mm512_set1_epi32(from);
    return _mm512_mask_cmpgt_epi8_mask(_mm512_cmple_epi8_mask(InBytes(_mm512_sub_epi32(first, origin)), columns),
                                       InBytes(_mm512_sub_epi32(end, origin)), columns);
  }

  // Bits for Alphas: all four columns of these rows.
  static __mmask64 AllOf(__mmask16 rows) {
    const __m512i words = _mm512_maskz_set1_epi32(rows, -1);
    return _mm512_movepi8_mask(InBytes(words));
  }

 private:
  static constexpr std::int32_t kEntries = 128;

  // The smallest and the largest index in the first column and behind the last.
  struct Ends {
    float lowestFirst, lowestLast, highestFirst, highestLast;
  };

  static Ends IndicesAtEnds(const RowLines& rows, float columns) {
    const __m512 scale = _mm512_set1_ps(kEntriesPerBand), far = _mm512_set1_ps(1E30F);
    const __m512 rise = _mm512_mul_ps(rows.dudx, scale);
    const __m512 first = _mm512_fnmadd_ps(_mm512_cvtepi32_ps(rows.skip), rise, _mm512_mul_ps(rows.u, scale));
    const __m512 last = _mm512_fmadd_ps(_mm512_set1_ps(columns), rise, first);
    const __m512 zero = _mm512_setzero_ps();
    const auto kept = [&](const __m512& v) { return _mm512_mask_mov_ps(far, rows.filled, v); };
    const __m512 least =
        SmallestOfEach(kept(first), kept(last), kept(_mm512_sub_ps(zero, first)), kept(_mm512_sub_ps(zero, last)));
    const __m256 halves = _mm256_min_ps(_mm512_castps512_ps256(least), _mm512_extractf32x8_ps(least, 1));
    const FourFloats all = _mm_min_ps(_mm256_castps256_ps128(halves), _mm256_extractf128_ps(halves, 1));
    return {all[0], all[1], -all[2], -all[3]};
  }

  // Lane k of each group of four: the smallest of that group's lanes of the k-th vector.
  static __m512 SmallestOfEach(const __m512& a, const __m512& b, const __m512& c, const __m512& d) {
    const __m512 ab = _mm512_min_ps(_mm512_unpacklo_ps(a, b), _mm512_unpackhi_ps(a, b));
    const __m512 cd = _mm512_min_ps(_mm512_unpacklo_ps(c, d), _mm512_unpackhi_ps(c, d));
    return _mm512_min_ps(_mm512_shuffle_ps(ab, cd, 0x44), _mm512_shuffle_ps(ab, cd, 0xEE));
  }

  static __m512i IndexAt(const __m512& u) {
    return _mm512_cvttps_epi32(_mm512_mul_ps(u, _mm512_set1_ps(kEntriesPerBand)));
  }

  // Each number as the four bytes that Alphas has for that row, cut off at the range of a byte.
  ORVANDEL_INLINE static __m512i InBytes(const __m512i& numbers) {
    const __m512i words = _mm512_packs_epi32(numbers, numbers);
    return _mm512_packs_epi16(words, words);
  }

  const std::uint8_t* alphas_ = nullptr;
  float next_ = 0, rise_ = 0;  // where the next window begins, and its change; in entries
  __m512i lower_, upper_;      // the window
  __m512i first_;              // its first entry
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#endif
