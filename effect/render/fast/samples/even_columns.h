// Indices of sixteen rows where u takes the same step from every column to the next.
//
// u += dudx is rounded every time. But between two powers of two floats are equally far apart, so that each sum there
// is rounded by the same amount: u goes on by the same multiple of that distance. So does 500 u, which for u from 1/8
// on is a whole number of 2^-24ths. What multiplying in floats rounds up to the next integer lies at most half the
// distance of floats below it: adding that half beforehand makes the integer below the very index.
//
// Whole numbers of 32 bits hold eight bits of the index above those of the fraction; a window of alphas needs seven. An
// addition a column is all that is left.
#pragma once

#include "effect/render/fast/samples/even_parts.h"

#if defined(__AVX512VBMI__) && defined(__AVX512VNNI__)

namespace orvandel::fast::ORVANDEL_KERNELS {

// Of two vectors of numbers: for every four rows the highest bytes of the first one's, then of the other's.
struct HighestBytes {
  alignas(64) std::uint8_t bytes[64];
  constexpr HighestBytes() : bytes() {
    for (int i = 0; i < 64; ++i) {
      bytes[i] = static_cast<std::uint8_t>(i / 16 * 16 + i % 4 * 4 + 3 + (i % 8 < 4 ? 0 : 64));
    }
  }
};
inline constexpr HighestBytes kHighestBytes;

class EvenColumns {
 public:
  // From u on; indices count from `first`.
  ORVANDEL_INLINE void Start(const Floats& u, const Floats& dudx, std::int32_t first) {
    const Floats step = (u + dudx) - u;
    const auto index = (__m512i)(u * kEntriesPerBand);
    // The power of two below the index: half the distance of floats there, in 2^-24ths.
    const __m512i half = _mm512_cvttps_epi32((__m512)_mm512_and_si512(index, _mm512_set1_epi32(0x7F800000)));
    at_ = _mm512_add_epi32(InParts(u), half);
    CountFrom(first);
    step_ = InParts(step);
    twoSteps_ = _mm512_add_epi32(step_, step_);
    fourSteps_ = _mm512_add_epi32(twoSteps_, twoSteps_);
    partStep_ = step * static_cast<float>(kEvenColumns);
  }

  // Indices count from so many entries further on.
  ORVANDEL_INLINE void CountFrom(std::int32_t further) {
    at_ =
        _mm512_sub_epi32(at_, _mm512_set1_epi32(static_cast<std::int32_t>(static_cast<std::uint32_t>(further) << 24)));
  }

  // Moves u behind a part.
  ORVANDEL_INLINE void Leave(Floats& u) const { u += partStep_; }

  // The next four columns' indices in the order of AlphaWindow::Alphas, in the lower seven bits of each byte.
  ORVANDEL_INLINE __m512i NextFour() {
    const __m512i a = at_, b = _mm512_add_epi32(a, step_);
    const __m512i c = _mm512_add_epi32(a, twoSteps_), d = _mm512_add_epi32(b, twoSteps_);
    at_ = _mm512_add_epi32(a, fourSteps_);
    const __m512i order = _mm512_load_si512(kHighestBytes.bytes);
    return _mm512_unpacklo_epi64(_mm512_permutex2var_epi8(a, order, b), _mm512_permutex2var_epi8(c, order, d));
  }

 private:
  // 500 u in 2^-24ths, of which the highest bits may be lost.
  static __m512i InParts(const Floats& u) {
    const __m512i whole = _mm512_cvttps_epi32((__m512)(u * 0x1p26F));
    return _mm512_mullo_epi32(whole, _mm512_set1_epi32(125));
  }

  __m512i at_{}, step_{}, twoSteps_{}, fourSteps_{};
  Floats partStep_{};
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#endif
