// A halo of light around what is bright.
//
// It is worked out in the linear light that the picture shows over black, L, in whole numbers up to 2^24 a channel:
//   m = the largest of a pixel's three channels, t = the light of `threshold`
//   bright = L * (m - t) / m where m > t, else 0
//   halo = half of bright spread over radius / 8, half spread over radius / 2 (standard deviations, in pixels)
//   result = L + strength * halo, at most full light
// A picture's alpha grows where the halo needs it: to the largest channel of what the result shows over black, so that
// over black exactly the result is seen.
//
// Spread is three boxes in a row each way, of a width that makes their variance that of the bell, with a share of one
// more pixel at both ends; outside the picture it is dark. Each box is rounded to whole numbers, so the running sums of
// the fast way and the plain sums of a slow one give the same.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "stage/picture/picture16.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// A box over 2 * reach + 1 pixels and the share `ends` of one more at each end.
struct Box {
  std::int32_t reach = 0;
  std::int32_t ends = 0;  // in 1/kBoxShares
  std::int64_t Weight() const;
};
inline constexpr std::int32_t kBoxShares = 256;

// Three of which have together the standard deviation, in pixels.
Box BoxOf(double deviation);

// One channel, rows from the top, at most kFullLight: spread in both directions. `room`: memory to work in.
void Spread(std::vector<std::uint32_t>& plane, std::int32_t width, std::int32_t height, const Box& box,
            std::vector<std::uint32_t>& room);

// Kept from frame to frame: allocating this much memory takes half as long as the work done in it.
struct GlowRoom {
  using Plane = std::vector<std::uint32_t>;
  using Planes = std::array<Plane, 3>;
  Planes light, narrow;
  Plane wide, other;
};

// `scale`: pixels of the picture for each pixel of the full-size layer. `linear`: what the picture shows over black is
// its colours' light times alpha, as where pictures are laid over one another in light; else its stored values times
// alpha.
Picture16 WithGlow(const Picture16& picture, const Glow& glow, double scale, bool linear, GlowRoom& room);

}  // namespace orvandel::stage
