#include "scenes.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "effect/render/reference/stroke_edges.h"

namespace orvandel::bench {
namespace {

constexpr float kFullTurn = 6.2831855F;

// Appends the shape, scaled and turned, in a colour of its own.
void AppendWave(Scene& scene, const UnitOutline& shape, float radius, float degrees, float strokeWidth,
                Profile profile) {
  SceneWave wave{{}, strokeWidth, profile, 0x9E3779B9U * static_cast<std::uint32_t>(scene.waves.size() + 1)};
  const float c = std::cos(degrees / 360 * kFullTurn), s = std::sin(degrees / 360 * kFullTurn);
  for (const UnitPoint p : shape) wave.points.push_back({radius * (p.x * c - p.y * s), radius * (p.x * s + p.y * c)});
  scene.waves.push_back(wave);
}

UnitOutline Polygon(int corners) {
  UnitOutline shape;
  for (int i = 0; i < corners; ++i) {
    const float angle = kFullTurn * static_cast<float>(i) / static_cast<float>(corners);
    shape.push_back({std::cos(angle), std::sin(angle)});
  }
  return shape;
}

UnitOutline FivePointedStar() {
  UnitOutline shape = Polygon(10);
  const float inner = 0.5F * std::cos(kFullTurn / 10);
  for (std::size_t i = 1; i < shape.size(); i += 2) shape[i] = {shape[i].x * inner, shape[i].y * inner};
  return shape;
}

// 2,000 points on a sum of 128 sines, as rough as a traced picture (seven of ten points survive the thinning);
// farthest point at distance 1.
UnitOutline IrregularContour() {
  std::mt19937 random(7);
  const auto number = [&] { return static_cast<float>(random() % 10000) / 10000; };
  std::vector<float> amplitudes, phases;
  for (int k = 1; k <= 128; ++k) {
    amplitudes.push_back(number() * 0.25F / static_cast<float>(k));
    phases.push_back(number() * kFullTurn);
  }
  UnitOutline shape = Polygon(2000);
  float farthest = 0;
  for (std::size_t i = 0; i < shape.size(); ++i) {
    float radius = 1;
    for (std::size_t k = 0; k < amplitudes.size(); ++k) {
      radius += amplitudes[k] * std::sin(kFullTurn * static_cast<float>((k + 1) * i) / 2000 + phases[k]);
    }
    shape[i] = {shape[i].x * radius, shape[i].y * radius};
    farthest = std::max(farthest, radius);
  }
  for (UnitPoint& p : shape) p = {p.x / farthest, p.y / farthest};
  return shape;
}

// `count` copies with radii from `first` to `last`, each turned `degrees` more than the one before.
Scene Copies(const std::string& name, const UnitOutline& shape, int count, float first, float last, float degrees,
             float strokeWidth, Profile profile) {
  Scene scene;
  scene.name = name;
  for (int i = 0; i < count; ++i) {
    const float radius = first + (last - first) * static_cast<float>(i) / static_cast<float>(count - 1);
    AppendWave(scene, shape, radius, degrees * static_cast<float>(i), strokeWidth, profile);
  }
  return scene;
}

}  // namespace

Scene RingsWithProfile(Profile profile, const std::string& name) {
  return Copies(name, Polygon(64), 30, 20, 900, 0, 40, profile);
}

std::vector<Scene> ComparedScenes() {
  Scene large = Copies("rings_4k", Polygon(64), 30, 40, 1800, 0, 10, kSquareProfile);
  large.width = 3840;
  large.height = 2160;
  return {Copies("rings_w5", Polygon(64), 30, 20, 900, 0, 5, kSquareProfile),
          RingsWithProfile(kGaussianProfile, "rings_w40_gaussian"),
          Copies("stars_w8", FivePointedStar(), 200, 10, 1000, 2, 8, kSquareProfile),
          Copies("contours_w10", IrregularContour(), 50, 20, 900, 1.5F, 10, kSquareProfile), large};
}

PlacedOutline InnerEdge(const SceneWave& wave, float distance) {
  PlacedOutline edge;
  // One subsample a pixel, from the wave's origin: the numbers stay as they are.
  for (const SubsamplePoint p : MakeOffsetPoints(wave.points, distance, {0, 0, 1, 1})) edge.push_back({p.x, p.y});
  return edge;
}

}  // namespace orvandel::bench
