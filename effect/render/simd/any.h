// What processors have that no other file here is for: vectors of 16 bytes.
#pragma once

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "effect/render/simd/portable.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

inline constexpr int kLanes = 4;
inline constexpr int kRowGroup = 4;

#if defined(__SSE2__)
ORVANDEL_INLINE unsigned MaskBits(const FourInts& mask) { return static_cast<unsigned>(_mm_movemask_ps((__m128)mask)); }
#endif

class AlphaLookup {
 public:
  explicit AlphaLookup(const std::uint8_t* alphas) : alphas_(alphas) {}
  // sums += alphas[a] + alphas[b] + alphas[c] + alphas[d]
  void Add(const FourInts& a, const FourInts& b, const FourInts& c, const FourInts& d, FourInts& sums) const {
    for (int i = 0; i < kLanes; ++i) sums[i] += alphas_[a[i]] + alphas_[b[i]] + alphas_[c[i]] + alphas_[d[i]];
  }

 private:
  const std::uint8_t* alphas_;
};

// Without look-ups in vectors there are no windows of alphas.
struct AlphaWindow {
  static constexpr std::int32_t kEntries = 0;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
