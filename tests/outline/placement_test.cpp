// Placement, validity flags, rounded corners and the flattening below them.
#include "effect/outline/placement.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

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

TEST_F(Placement, CornersAreRoundedFromTheMiddleOfTheirEdges) {
  square.curveSize = 1;
  for (const float curvyness : {0.0F, 0.5F}) {
    square.curvyness = curvyness;
    square.placed = {{1, 2}};
    const PlacedOutline placed = Updated(square);
    EXPECT_NEAR(placed[0].x, 50, 1e-4);  // of the edge that ends at the first vertex
    EXPECT_NEAR(placed[0].y, -50, 1e-4);
    const double middle = 100 - 25 * (0.5 + 3 * 0.9 * 0.5 * curvyness);  // of every corner's curve
    for (std::size_t i = 0; i < 4; ++i) {
      const PlacedPoint point = placed[(2 * i + 1) * placed.size() / 8];
      EXPECT_NEAR(point.x, middle * std::cos(static_cast<double>(i) * std::numbers::pi / 2), 1e-4);
      EXPECT_NEAR(point.y, middle * std::sin(static_cast<double>(i) * std::numbers::pi / 2), 1e-4);
    }
  }
  for (const float none : {0.0F, -1.0F, std::nanf("")}) {
    square.curveSize = none;
    EXPECT_EQ(Updated(square).size(), 4U);
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
