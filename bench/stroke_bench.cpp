// The drawing pass alone: clear the output, then stroke every wave of a prepared list, as one frame does.
//
// Five scenes, alpha 0.8, a colour a wave, render quality 4, one thread. Outlines are placed before the clock starts.
// The host answers progress with 0 at once.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "effect/params/param_ids.h"
#include "effect/render/draw_wave.h"
#include "effect/render/pixel_writer.h"
#include "effect/render/profile_table.h"

namespace orvandel {
namespace {

constexpr float kFullTurn = 6.2831855F;

struct Scene {
  std::int32_t width = 1920, height = 1080;
  WaveList list;
};

std::int32_t GoOn(OrvEffectRef, std::int32_t, std::int32_t) { return 0; }

// One render call at high quality on a full-size layer.
class Call {
 public:
  Call(std::int32_t width, std::int32_t height) {
    in_.callbacks.progress = GoOn;
    in_.quality = 1;
    in_.width = width;
    in_.height = height;
    in_.downsampleX = in_.downsampleY = in_.pixelAspect = {1, 1};
    context_.inRecord = &in_;
    context_.globals = &globals_;
    SetParam(kRenderQuality, ORV_PARAM_INTEGER, 4);
    SetParam(kReflection, ORV_PARAM_CHECKBOX, 0);
  }
  EffectContext& Context() { return context_; }

 private:
  void SetParam(ParamId id, std::int32_t type, std::int32_t value) {
    globals_.paramIndexTable[static_cast<std::size_t>(id)] = id;
    ParamSlot& slot = context_.slots[static_cast<std::size_t>(id)];
    slot.definition.type = type;
    slot.definition.value.integer.value = value;
    slot.filled = true;
  }

  OrvInRecord in_{};
  GlobalData globals_{};
  EffectContext context_;
};

// Appends the shape, scaled and turned, around the picture's centre, in a colour of its own.
void AppendWave(Scene& scene, const Outline& shape, float radius, float degrees, float strokeWidth, Profile profile) {
  Wave& wave = scene.list.Append();
  const float c = std::cos(degrees / 360 * kFullTurn), s = std::sin(degrees / 360 * kFullTurn);
  for (const Point2f p : shape) wave.placed.push_back({radius * (p.x * c - p.y * s), radius * (p.x * s + p.y * c)});
  wave.origin = {0.5F, 0.5F};
  wave.age = 1;
  wave.lifespan = 2;
  wave.opacity = 0.8F;
  wave.startWidth = wave.endWidth = strokeWidth;
  wave.profile = static_cast<std::uint32_t>(profile);
  wave.color = 0x9E3779B9U * static_cast<std::uint32_t>(scene.list.waves.size());
}

Outline Polygon(int corners) {
  Outline shape;
  for (int i = 0; i < corners; ++i) {
    const float angle = kFullTurn * static_cast<float>(i) / static_cast<float>(corners);
    shape.push_back({std::cos(angle), std::sin(angle)});
  }
  return shape;
}

Outline FivePointedStar() {
  Outline shape = Polygon(10);
  const float inner = 0.5F * std::cos(kFullTurn / 10);
  for (std::size_t i = 1; i < shape.size(); i += 2) shape[i] = {shape[i].x * inner, shape[i].y * inner};
  return shape;
}

// 2,000 points on a sum of 128 sines, as rough as a traced picture (seven of ten points survive the thinning);
// farthest point at distance 1.
Outline IrregularContour() {
  std::mt19937 random(7);
  const auto number = [&] { return static_cast<float>(random() % 10000) / 10000; };
  std::vector<float> amplitudes, phases;
  for (int k = 1; k <= 128; ++k) {
    amplitudes.push_back(number() * 0.25F / static_cast<float>(k));
    phases.push_back(number() * kFullTurn);
  }
  Outline shape = Polygon(2000);
  float farthest = 0;
  for (std::size_t i = 0; i < shape.size(); ++i) {
    float radius = 1;
    for (std::size_t k = 0; k < amplitudes.size(); ++k) {
      radius += amplitudes[k] * std::sin(kFullTurn * static_cast<float>((k + 1) * i) / 2000 + phases[k]);
    }
    shape[i] = {shape[i].x * radius, shape[i].y * radius};
    farthest = std::max(farthest, radius);
  }
  for (Point2f& p : shape) p = {p.x / farthest, p.y / farthest};
  return shape;
}

// `count` copies with radii from `first` to `last`, each turned `degrees` more than the one before.
Scene Copies(const Outline& shape, int count, float first, float last, float degrees, float strokeWidth,
             Profile profile) {
  Scene scene;
  for (int i = 0; i < count; ++i) {
    const float radius = first + (last - first) * static_cast<float>(i) / static_cast<float>(count - 1);
    AppendWave(scene, shape, radius, degrees * static_cast<float>(i), strokeWidth, profile);
  }
  return scene;
}

void DrawFrames(benchmark::State& state, Scene scene) {
  std::vector<OrvPixel> pixels(static_cast<std::size_t>(scene.width) * static_cast<std::size_t>(scene.height));
  const ImageBuffer output{
      reinterpret_cast<std::uint8_t*>(pixels.data()), scene.width, scene.height, scene.width * 4, 0, 0, nullptr};
  const auto call = std::make_unique<Call>(scene.width, scene.height);
  for (auto frame : state) {
    ClearOutput(output);
    for (auto position = scene.list.waves.begin(); position != scene.list.waves.end();) {
      if (DrawWave(scene.list, call->Context(), output, position) != 0) state.SkipWithError("the drawing stopped");
    }
    benchmark::ClobberMemory();
  }
  state.counters["waves"] = static_cast<double>(scene.list.waves.size());
}

Scene RingsW5() { return Copies(Polygon(64), 30, 20, 900, 0, 5, kSquareProfile); }
Scene RingsW40Gaussian() { return Copies(Polygon(64), 30, 20, 900, 0, 40, kGaussianProfile); }
Scene StarsW8() { return Copies(FivePointedStar(), 200, 10, 1000, 2, 8, kSquareProfile); }
Scene ContoursW10() { return Copies(IrregularContour(), 50, 20, 900, 1.5F, 10, kSquareProfile); }
Scene Rings4k() {
  Scene scene = Copies(Polygon(64), 30, 40, 1800, 0, 10, kSquareProfile);
  scene.width = 3840;
  scene.height = 2160;
  return scene;
}

#define ORVANDEL_SCENE(name, scene) \
  BENCHMARK_CAPTURE(DrawFrames, name, scene)->Name(#name)->Unit(benchmark::kMillisecond)
ORVANDEL_SCENE(rings_w5, RingsW5());
ORVANDEL_SCENE(rings_w40_gaussian, RingsW40Gaussian());
ORVANDEL_SCENE(stars_w8, StarsW8());
ORVANDEL_SCENE(contours_w10, ContoursW10());
ORVANDEL_SCENE(rings_4k, Rings4k());

}  // namespace
}  // namespace orvandel

int main(int argc, char** argv) {
  benchmark::AddCustomContext("commit", ORVANDEL_COMMIT);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
