// A halo of light around what is bright.
//
// It is worked out in the linear light that the picture shows over black, L, in whole numbers up to 2^24 a channel:
//   m = the largest of a pixel's three channels, t = the light of `threshold`
//   bright = L * (m - t) / m where m > t, else 0
//   halo = half of bright spread over radius / 8, half spread over radius / 2 (standard deviations, in pixels)
//   result = L + strength * halo, at most full light
// A picture's alpha grows where the halo needs it: to the largest channel of what the result shows over black, so that
// over black exactly the result is seen.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "stage/picture/picture16.h"
#include "stage/render/spread.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

// Kept from frame to frame: allocating this much memory takes half as long as the work done in it.
struct GlowRoom {
  using Planes = std::array<LightPlane, 3>;
  Planes light, bright;
  LightPlane narrow, wide;
};

// `scale`: pixels of the picture for each pixel of the full-size layer. `linear`: what the picture shows over black is
// its colours' light times alpha, as where pictures are laid over one another in light; else its stored values times
// alpha.
Picture16 WithGlow(Picture16 picture, const Glow& glow, double scale, bool linear, GlowRoom& room);

}  // namespace orvandel::stage
