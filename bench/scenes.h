// The fixed scenes that the drawing pass and the peers draw: closed outlines around the picture's centre, each stroked
// by a band along its inner side.
//
// Alpha 0.8 and a colour of its own for every wave; outlines are placed before any clock starts.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "effect/base/geometry.h"
#include "effect/render/stroke/profile_table.h"

namespace orvandel::bench {

struct SceneWave {
  PlacedOutline points;  // relative to the centre of the picture
  float strokeWidth;
  Profile profile;
  std::uint32_t color;  // a pixel as a word: alpha (ignored), red, green, blue from the lowest byte up
};

struct Scene {
  std::string name;
  std::int32_t width = 1920, height = 1080;
  std::vector<SceneWave> waves;
};

inline constexpr float kSceneAlpha = 0.8F;

// The five scenes that are compared with other programs:
//   rings_w5            1920x1080, 30 concentric 64-gons, radii 20..900, width 5, Square
//   rings_w40_gaussian  the same, width 40, Gaussian
//   stars_w8            200 five-pointed stars (depth -0.5), radii 10..1000, each turned 2 degrees more, width 8,
//   Square contours_w10        50 copies of an irregular 2,000-point contour, radii 20..900, each turned 1.5 degrees
//   more,
//                       width 10, Square
//   rings_4k            rings_w5 doubled, 3840x2160
std::vector<Scene> ComparedScenes();

// rings_w40_gaussian with another profile.
Scene RingsWithProfile(Profile profile, const std::string& name);

// The band's inner edge, for renderers that fill it: one point per outline point, on the bisector of its corner.
PlacedOutline InnerEdge(const SceneWave& wave, float distance);

}  // namespace orvandel::bench
