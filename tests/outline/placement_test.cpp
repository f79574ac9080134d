// Placement, validity flags, rounded corners and the flattening below them.
#include "effect/outline/placement.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "effect/base/errors.h"
#include "effect/outline/bezier.h"

namespace orvandel {
namespace {

class Placement : public testing::Test {
 protected:
  Placement() {
    context.inRecord = &inRecord;
    square.waveType = kPolygonWave;
    square.sides = 4;
    square.size = 100;
  }

  PlacedOutline Updated(Wave wave) {
    UpdateWaveOutline(wave, context, traces);
    return wave.placed;
  }

  OrvInRecord inRecord{};
  EffectContext context;
  TraceMemory traces;
  Wave square;
};

TEST_F(Placement, RandomPlacementsScaleTurnClockwiseAndMove) {
  std::mt19937 random(40);
  std::uniform_real_distribution<float> angle(-4000, 4000), size(1, 2000), travel(-500, 500);
  for (int round = 0; round < 300; ++round) {
    Wave wave = square;
    wave.orientation = angle(random);
    wave.rotation = angle(random);
    wave.size = size(random);
    wave.offset = {travel(random), travel(random)};
    const double turn = (static_cast<double>(wave.orientation) + wave.rotation) * M_PI / 180;
    const PlacedOutline placed = Updated(wave);
    ASSERT_EQ(placed.size(), 4U);
    for (int i = 0; i < 4; ++i) {
      const double direction = turn + i * M_PI / 2;
      EXPECT_NEAR(placed[i].x, wave.offset.x + wave.size * std::cos(direction), 2e-5 * wave.size + 1e-3);
      EXPECT_NEAR(placed[i].y, wave.offset.y + wave.size * std::sin(direction), 2e-5 * wave.size + 1e-3);
    }
  }
}

TEST_F(Placement, OrientationAndSpinAddUpModuloAFullTurn) {
  const auto turned = [&](float orientation, float rotation) {
    square.orientation = orientation;
    square.rotation = rotation;
    return Updated(square);
  };
  EXPECT_EQ(turned(30, -390), turned(0, 0));
  EXPECT_EQ(turned(0, -30), turned(330, 0));
}

TEST_F(Placement, RebuildsOnlyWhatIsNotValid) {
  Wave wave = square;
  UpdateWaveOutline(wave, context, traces);
  wave.shape[0] = {5, 5};  // a mark that a rebuild would remove
  wave.size = 1;
  UpdateWaveOutline(wave, context, traces);
  EXPECT_EQ(wave.placed[0], (PlacedPoint{100, 0}));
  wave.placedValid = false;
  UpdateWaveOutline(wave, context, traces);
  EXPECT_EQ(wave.placed[0], (PlacedPoint{5, 5}));
  wave.shapeValid = false;
  UpdateWaveOutline(wave, context, traces);
  EXPECT_EQ(wave.placed[0], (PlacedPoint{1, 0}));
  wave.waveType = 9;  // keeps its shape, is still placed
  wave.placedValid = false;
  wave.size = 2;
  UpdateWaveOutline(wave, context, traces);
  EXPECT_EQ(wave.placed[0], (PlacedPoint{2, 0}));
}

TEST_F(Placement, RoundedCorners) {
  struct Case {
    float curvyness;
    std::int32_t quality;
    std::size_t points;
  };
  square.curveSize = 1;
  for (const Case& c : {Case{0.5F, 0, 32}, Case{0.5F, 1, 64}, Case{0, 0, 24}, Case{0, 1, 48}}) {
    inRecord.quality = c.quality;
    square.curvyness = c.curvyness;
    const PlacedOutline placed = Updated(square);
    EXPECT_EQ(placed.size(), c.points) << "curvyness " << c.curvyness << ", quality " << c.quality;
    EXPECT_NEAR(placed[0].x, 50, 1e-4);  // the middle of the edge that ends at the first vertex
    EXPECT_NEAR(placed[0].y, -50, 1e-4);
    const double middle = 100 - 25 * (0.5 + 3 * 0.9 * 0.5 * c.curvyness);  // of every corner's curve
    for (std::size_t i = 0; i < 4; ++i) {
      const PlacedPoint point = placed[(2 * i + 1) * c.points / 8];
      EXPECT_NEAR(point.x, middle * std::cos(static_cast<double>(i) * M_PI / 2), 1e-4);
      EXPECT_NEAR(point.y, middle * std::sin(static_cast<double>(i) * M_PI / 2), 1e-4);
    }
    Wave again = square;
    again.placed = {{1, 2}};
    EXPECT_EQ(Updated(again), placed);
  }
  for (const float none : {0.0F, -1.0F, std::nanf("")}) {
    square.curveSize = none;
    EXPECT_EQ(Updated(square).size(), 4U);
    EXPECT_EQ(Updated(square)[0], (PlacedPoint{100, 0}));
  }
  // Corners on a straight line stay one point: the flat star has the square's curves and four points more.
  square.curveSize = 0.25F;
  const std::size_t rounded = Updated(square).size();
  square.star = true;
  square.curveSize = 0.5F;
  EXPECT_EQ(Updated(square).size(), rounded + 4);
}

// Corners so far apart that each takes as many pieces as a curve can have.
TEST_F(Placement, OutlinesWithoutEndAreRefusedWithTheirSize) {
  Wave wave;
  wave.curveSize = wave.curvyness = 1;
  PlacedOutline corners, target;
  for (int i = 0; i < 512; ++i) {
    const double angle = i * 0.01227184630308513;
    corners.push_back({static_cast<float>(std::cos(angle) * 1e30), static_cast<float>(std::sin(angle) * 1e30)});
  }
  try {
    RoundOutlineCorners(wave, context, corners, target);
    FAIL() << target.size() << " points";
  } catch (const AllocFailed& failure) {
    EXPECT_EQ(failure.size, static_cast<std::int32_t>(target.size() * sizeof(PlacedPoint)));
    EXPECT_GT(target.size(), 16777216U);
    EXPECT_LE(target.size(), 16777216U + 65536U);
  }
}

double DistanceToSegment(PlacedPoint p, PlacedPoint a, PlacedPoint b) {
  const double dx = b.x - a.x, dy = b.y - a.y;
  const double t = std::clamp(((p.x - a.x) * dx + (p.y - a.y) * dy) / (dx * dx + dy * dy), 0.0, 1.0);
  return std::hypot(p.x - a.x - t * dx, p.y - a.y - t * dy);
}

// Corners of regular polygons. In sharper ones the curve may pass the ends of a flat piece's chord, which the flatness
// test does not see.
TEST(Bezier, FlattenedCornersStayWithinTheTolerance) {
  std::mt19937 random(31);
  std::uniform_real_distribution<float> magnitude(0, 6), turn(0, 6.28F), inside(1.05F, 3.14F), share(0, 0.9F);
  for (int round = 0; round < 300; ++round) {
    const float length = std::pow(10.0F, magnitude(random)), k = share(random), first = turn(random),
                second = first + inside(random);
    const auto at = [&](float angle, float part) {
      return PlacedPoint{std::cos(angle) * length * part, std::sin(angle) * length * part};
    };
    const Cubic c{at(first, 1), at(first, k), at(second, k), at(second, 1)};
    PlacedOutline line;
    FlattenCubic(c, 0.09F, line);
    EXPECT_EQ(line.front(), c.start);
    line.push_back(c.end);
    for (double t = 0; t <= 1; t += 1.0 / 61) {  // not the points at which pieces meet
      const double s = 1 - t;
      const auto blend = [&](float p0, float p1, float p2, float p3) {
        return static_cast<float>(s * s * s * p0 + 3 * s * s * t * p1 + 3 * s * t * t * p2 + t * t * t * p3);
      };
      const PlacedPoint p{blend(c.start.x, c.control1.x, c.control2.x, c.end.x),
                          blend(c.start.y, c.control1.y, c.control2.y, c.end.y)};
      double nearest = 1e9;
      for (std::size_t i = 1; i < line.size(); ++i) {
        nearest = std::min(nearest, DistanceToSegment(p, line[i - 1], line[i]));
      }
      ASSERT_LE(nearest, 0.301 + 3e-7 * length) << "round " << round << ", t " << t;
    }
  }
}

TEST(Bezier, ControlsAtTheToleranceCountAsFlat) {
  for (const float height : {0.5F, -0.5F, 0.5000001F, -0.5000001F}) {
    const bool flat = std::abs(height) == 0.5F;
    EXPECT_EQ(IsCubicFlat({{8, 1}, {9, 1 + height}, {10, 1}, {12, 1}}, 0.25F), flat);
    EXPECT_EQ(IsCubicFlat({{8, 1}, {9, 1}, {10, 1 + height}, {12, 1}}, 0.25F), flat);
  }
}

TEST(Bezier, CurvesWithoutSizeOrSenseEnd) {
  const float infinity = std::numeric_limits<float>::infinity();
  const PlacedPoint p{3, 4};
  PlacedOutline line;
  FlattenCubic({p, {90, 9}, {-7, 80}, p}, 0.09F, line);  // both ends alike: flat
  EXPECT_EQ(line, (PlacedOutline{p}));
  for (const float far : {3e38F, 1e20F, infinity, std::nanf("")}) {
    line.clear();
    FlattenCubic({{0, 0}, {far, 1}, {1, far}, {5, 5}}, 0.09F, line);
    EXPECT_LE(line.size(), 65536U);
  }
}

}  // namespace
}  // namespace orvandel
