#include "stage/scene/keyframes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "stage/scene/param_values.h"
#include "tests/stage/catalog_for_tests.h"

namespace orvandel::stage {
namespace {

// The curve's parameter by Newton's method with a bracket to fall back on, from polynomial coefficients.
double SolvedByNewton(const Easing& e, double x) {
  const auto poly = [](double a, double b, double s) {
    return ((1 + 3 * a - 3 * b) * s + 3 * b - 6 * a) * s * s + 3 * a * s;
  };
  double low = 0, high = 1, s = x;
  for (int i = 0; i < 200; ++i) {
    const double miss = poly(e.x1, e.x2, s) - x;
    (miss < 0 ? low : high) = s;
    const double slope = (3 * (1 + 3 * e.x1 - 3 * e.x2) * s + 2 * (3 * e.x2 - 6 * e.x1)) * s + 3 * e.x1;
    const double next = s - miss / slope;
    s = next > low && next < high ? next : (low + high) / 2;
  }
  return poly(e.y1, e.y2, s);
}

TEST(Easing, AgreesWithNewtonsMethodAndItsOwnSymmetries) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> unit(0, 1), wide(-2, 3);
  for (int i = 0; i < 20000; ++i) {
    // Away from controls at the very ends, where the slope of x vanishes and y is known to half the digits only.
    const Easing e{Interpolation::kBezier, 0.9 * unit(random), wide(random), 0.1 + 0.9 * unit(random), wide(random)};
    const double x = unit(random);
    const double y = Eased(e, x);
    ASSERT_NEAR(y, SolvedByNewton(e, x), 1e-12) << e.x1 << " " << e.x2 << " " << x;
    const Easing reversed{Interpolation::kBezier, 1 - e.x2, 1 - e.y2, 1 - e.x1, 1 - e.y1};
    ASSERT_NEAR(y, 1 - Eased(reversed, 1 - x), 1e-12);
    const Easing straight{Interpolation::kBezier, e.x1, e.x1, e.x2, e.x2};
    ASSERT_NEAR(Eased(straight, x), x, 1e-12);
  }
}

Key At(double time, Value value, Easing easing = {}) { return {time, std::move(value), easing}; }

TEST(Keyframes, ValuesMeetTheirKeysAndStayInRange) {
  const ParamInfo& frequency = ParamForTests("Frequency");
  std::mt19937 random(11);
  std::uniform_real_distribution<double> range(0, 500), step(1e-6, 2), overshoot(-3, 4), unit(0, 1);
  for (int round = 0; round < 200; ++round) {
    Track track;
    double time = step(random);
    const auto count = 2 + random() % 20;
    for (std::size_t i = 0; i < count; ++i, time += step(random)) {
      const Easing curve{Interpolation::kBezier, unit(random), overshoot(random), unit(random), overshoot(random)};
      const Easing easings[] = {{}, {Interpolation::kHold, 0, 0, 1, 1}, curve};
      track.keys.push_back(At(time, range(random), easings[random() % 3]));
    }
    for (std::size_t i = 0; i < track.keys.size(); ++i) {
      const Key& key = track.keys[i];
      ASSERT_EQ(ValueAt(track, frequency, key.time), key.value);
      if (i + 1 == track.keys.size()) break;
      const Key& next = track.keys[i + 1];
      const double seconds = key.time + (next.time - key.time) * unit(random);
      const double v0 = std::get<double>(key.value), v1 = std::get<double>(next.value);
      const double value = std::get<double>(ValueAt(track, frequency, seconds));
      ASSERT_TRUE(value >= 0 && value <= 500);
      if (key.easing.kind == Interpolation::kHold) {
        ASSERT_EQ(value, v0);
      }
      if (key.easing.kind == Interpolation::kLinear) {
        ASSERT_EQ(value, v0 + (v1 - v0) * ((seconds - key.time) / (next.time - key.time)));
      }
    }
    ASSERT_EQ(ValueAt(track, frequency, 0), track.keys.front().value);
    ASSERT_EQ(ValueAt(track, frequency, 1e9), track.keys.back().value);
  }
}

TEST(Keyframes, ChoicesHoldAndColoursMixPerChannel) {
  const Track choice{{At(1, Choice{1}), At(2, Choice{3})}, {}};
  for (const char* name : {"Wave Type", "Star", "Mask", "Source Layer"}) {
    EXPECT_EQ(ValueAt(choice, ParamForTests(name), std::nextafter(2.0, 0.0)), Value(Choice{1})) << name;
    EXPECT_EQ(ValueAt(choice, ParamForTests(name), 2), Value(Choice{3})) << name;
  }
  const Easing back{Interpolation::kBezier, 0.3, -5, 0.7, 6};
  const Track color{
      {At(0, ColorValue{0, 200, 100}), At(1, ColorValue{100, 0, 100}, back), At(2, ColorValue{255, 10, 100})}, {}};
  EXPECT_EQ(ValueAt(color, ParamForTests("Color"), 0.25), Value(ColorValue{25, 150, 100}));
  for (double seconds = 1; seconds < 2; seconds += 0.01) {
    const auto mixed = std::get<ColorValue>(ValueAt(color, ParamForTests("Color"), seconds));
    ASSERT_TRUE(mixed.red >= 0 && mixed.red <= 255 && mixed.green >= 0 && mixed.green <= 255 && mixed.blue == 100);
  }
}

Scene SceneForTests() {
  Scene scene;
  scene.width = 641;
  scene.height = 360;
  scene.time = MakeTimebase({30, 1}, {10, 1});
  scene.emitters.emplace_back().tracks.resize(14);
  return scene;
}

TEST(ParamValues, LayersAndMasksAreLookedUpOneUnitLater) {
  Scene scene = SceneForTests();
  for (const char* name : {"Wave Type", "Mask", "Source Layer"}) {
    const ParamInfo& info = ParamForTests(name);
    scene.emitters[0].tracks[static_cast<std::size_t>(info.hostIndex)].keys = {At(0, Choice{1}), At(1, Choice{2})};
    const bool early = info.Type() != ORV_PARAM_POPUP;
    EXPECT_EQ(ValueAtTime(scene, scene.emitters[0], info, 29998), Value(Choice{1})) << name;
    EXPECT_EQ(ValueAtTime(scene, scene.emitters[0], info, 29999), Value(Choice{early ? 2 : 1})) << name;
    EXPECT_EQ(ValueAtTime(scene, scene.emitters[0], info, 30000), Value(Choice{2})) << name;
  }
}

TEST(ParamValues, DefaultsAreTheRegisteredOnes) {
  Scene scene = SceneForTests();
  const auto value = [&](const char* name) { return ValueAtTime(scene, scene.emitters[0], ParamForTests(name), 0); };
  EXPECT_EQ(value("Producer Point"), Value(PointValue{320.5, 90}));  // 50 and 25 per cent
  EXPECT_EQ(value("Star Depth"), Value(-0.5));
  EXPECT_EQ(value("Sides"), Value(64.0));
  EXPECT_EQ(value("Direction"), Value(90.0));
  EXPECT_EQ(value("Color"), Value(ColorValue{0, 0, 255}));
  EXPECT_EQ(value("Star"), Value(Choice{1}));
  EXPECT_EQ(value("Source Layer"), Value(Choice{0}));
  EXPECT_EQ(value("Mask"), Value(Choice{0}));  // the first, but there is none
  scene.masks.resize(1);
  EXPECT_EQ(value("Mask"), Value(Choice{1}));
}

OrvParamValue Written(const char* name, Value value, double factor = 1) {
  OrvParamDef definition{};
  definition.type = -1;
  WriteValue(ParamForTests(name), value, factor, definition);
  EXPECT_EQ(definition.type, ParamForTests(name).definition.type);
  return definition.value;
}

TEST(ParamValues, WordsAreTruncatedOrRoundedByType) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> any(-32768, 32768);
  for (int i = 0; i < 10000; ++i) {
    const double v = any(random), factor = 1.0 / (1 + i % 5);
    ASSERT_EQ(Written("Frequency", v).fixed.value, static_cast<OrvFixed>(std::trunc(v * 65536)));
    ASSERT_EQ(Written("Direction", v).angle.value, static_cast<OrvFixed>(std::trunc(v * 65536)));
    const OrvPointValue point = Written("Producer Point", PointValue{v, -v / 2}, factor).point;
    ASSERT_EQ(point.x, static_cast<OrvFixed>(std::trunc(v * factor * 65536)));
    ASSERT_EQ(point.y, static_cast<OrvFixed>(std::trunc(-v / 2 * factor * 65536)));
  }
  EXPECT_EQ(Written("Frequency", -0.00001).fixed.value, 0);
  EXPECT_EQ(Written("Sides", 4.5).integer.value, 5);
  EXPECT_EQ(Written("Sides", -1.5).integer.value, -1);
  EXPECT_EQ(Written("Direction", 40000.0).angle.value, 0x7FFFFFFF);  // an eased angle may run past its keys
  EXPECT_EQ(Written("Wave Type", Choice{3}).popup.value, 3);
  EXPECT_EQ(Written("Star", Choice{1}).checkbox.value, 1);
  EXPECT_EQ(Written("Mask", Choice{2}).path.pathId, 2);
  const OrvPixel color = Written("Color", ColorValue{0.5, 254.49, 255}).color.value;
  EXPECT_TRUE(color.alpha == 255 && color.red == 1 && color.green == 254 && color.blue == 255);
}

}  // namespace
}  // namespace orvandel::stage
