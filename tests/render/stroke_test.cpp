// The scan against the slow rendering, and what holds for every stroke.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "effect/heap/heap.h"
#include "effect/render/reference/stroke_scan.h"
#include "effect/render/stroke_code.h"
#include "effect/render/stroke_outline.h"
#include "random_stroke.h"
#include "slow_stroke.h"
#include "tests/support/seeds.h"

namespace orvandel {
namespace {

// Returns whether the two renderings were compared (the slow one refuses strokes that would take too long).
bool CompareWithSlowRendering(std::uint32_t seed) {
  constexpr double kLargestArea = 1e6;
  Dice dice(seed);
  const StrokeCase stroke = RandomStroke(dice);
  Picture expected = RandomPicture(dice);
  Picture actual = expected;
  const auto slow = DrawSlowly(stroke, expected, kLargestArea);
  if (!slow) return false;
  const StrokeOutcome outcome = Draw(stroke, actual);
  EXPECT_EQ(outcome.result, slow->result) << "seed " << seed;
  EXPECT_EQ(outcome.aborted, slow->aborted) << "seed " << seed;
  EXPECT_EQ(outcome.reports, slow->reports) << "seed " << seed;
  const auto differs = std::mismatch(actual.Bytes().begin(), actual.Bytes().end(), expected.Bytes().begin()).first;
  EXPECT_EQ(differs - actual.Bytes().begin(), static_cast<std::ptrdiff_t>(actual.Bytes().size()))
      << "first differing byte; seed " << seed << ", picture " << actual.View().width << " x " << actual.View().height
      << ", " << Describe(stroke);
  return true;
}

TEST(Stroke, EqualsTheSlowRendering) {
  std::int64_t compared = 0;
  const std::int64_t strokes =
      test::ForEachSeed(4000, [&compared](std::uint32_t seed) { compared += CompareWithSlowRendering(seed); });
  EXPECT_TRUE(HasFailure() || strokes < 100 || compared > strokes * 9 / 10) << compared;
  EXPECT_EQ(heap::BytesInUse(), 0U);
}

TEST(Stroke, DoesNotDependOnThePointsDirection) {
  for (std::uint32_t seed = 1; seed <= 200; ++seed) {
    Dice dice(seed);
    StrokeCase stroke = RandomStroke(dice);
    stroke.points = {{dice.Real(-40, 40), dice.Real(-40, 40)}, {dice.Real(-40, 40), 40}, {50, dice.Real(-40, 40)}};
    Picture one(50, 50), other(50, 50);
    Draw(stroke, one);
    std::reverse(stroke.points.begin(), stroke.points.end());
    Draw(stroke, other);
    ASSERT_TRUE(one == other) << "seed " << seed;
  }
}

TEST(Stroke, IgnoresPointsOnAStraightLine) {
  StrokeCase stroke;
  stroke.points = {{10, 10}, {40, 10}, {40, 40}, {10, 40}};
  stroke.quality = 4;
  Picture plain(50, 50), withMidpoint(50, 50);
  Draw(stroke, plain);
  stroke.points.insert(stroke.points.begin() + 1, {25, 10});
  Draw(stroke, withMidpoint);
  EXPECT_TRUE(plain == withMidpoint);
  EXPECT_EQ(plain.At(25, 12).alpha, 255) << "inside the band";
  EXPECT_EQ(plain.At(25, 17).alpha, 0) << "beyond the band";
  EXPECT_EQ(plain.At(25, 8).alpha, 0) << "outside the shape";
}

TEST(Stroke, RemovesPointsAsAWalkWithErasing) {
  for (std::uint32_t seed = 1; seed <= 2000; ++seed) {
    Dice dice(seed);
    PlacedOutline points, expected;
    for (std::int32_t i = dice.Whole(0, 12); i > 0; --i) {
      points.push_back({static_cast<float>(dice.Whole(0, 3)), static_cast<float>(dice.Whole(0, 3))});
    }
    expected = points;
    PlacedPoint previous = points.empty() ? PlacedPoint{} : points.back();
    for (std::size_t i = 0; i < expected.size();) {
      const PlacedPoint here = expected[i], next = expected[i + 1 < expected.size() ? i + 1 : 0];
      const float cross = (here.x - previous.x) * (next.y - here.y) - (here.y - previous.y) * (next.x - here.x);
      if (std::fabs(cross) >= 0.1F)
        previous = expected[i++];
      else
        expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(i));
    }
    EXPECT_EQ(RemoveCollinearPoints(points), expected.size() >= 3) << "seed " << seed;
    ASSERT_EQ(points, expected) << "seed " << seed;
  }
}

// Between edges at x = 0 and x = 10 whose u has drifted, or reaches beyond the band.
TEST(Stroke, KeepsIndicesWithinTheCell) {
  struct Row {
    float uLeft, uRight;
    std::int16_t first, last;  // of the indices of cells 0 and 9
  };
  const Row rows[] = {{0.0F, 1.0F, 50, 500},      {1.0F, 0.0F, 450, 0},   {-0.5F, 0.5F, 0, 450},
                      {-0.004F, -0.002F, 0, 0},   {1.2F, 1.2F, 600, 600}, {0.0F, 1e9F, 32767, 32767},
                      {0.0F, std::nanf(""), 0, 0}};
  for (const Row& row : rows) {
    HeapVector<StrokeEdge> edges(3);
    edges[1].edgeKind = edges[2].edgeKind = kRuling;
    edges[1].active = edges[2].active = 1;
    edges[1].u = row.uLeft;
    edges[2].x = 10;
    edges[2].u = row.uRight;
    StrokePiece piece;
    piece.edges[1] = 1;
    piece.edges[2] = 2;
    for (const std::int32_t order : {1, 2}) {
      piece.order = order;
      RowBuffer cells(0, 11);
      Span touched;
      ASSERT_TRUE(ScanPieceRow(piece, edges, cells, 0, 10, touched));
      EXPECT_EQ(touched.first, 0);
      EXPECT_EQ(touched.last, 10);
      EXPECT_NEAR(cells.At(0).index, row.first, 1) << row.uLeft;
      EXPECT_NEAR(cells.At(9).index, row.last, 1) << row.uLeft;
      EXPECT_EQ(cells.At(10).flags, 0);
    }
  }
}

// Coordinates that no picture needs must neither crash nor hang; mitres reach 2^26 subsamples at most.
TEST(Stroke, SurvivesExtremeCoordinates) {
  const float extremes[] = {0,
                            -0.0F,
                            1e-38F,
                            1e-30F,
                            0.5F,
                            30,
                            1e7F,
                            -4.2e6F,
                            3e38F,
                            -1e20F,
                            std::numeric_limits<float>::infinity(),
                            std::nanf("")};
  for (std::uint32_t seed = 1; seed <= 3000; ++seed) {
    Dice dice(seed);
    StrokeCase stroke;
    for (std::int32_t i = dice.Whole(3, 7); i > 0; --i) {
      const auto coordinate = [&] { return dice.OneIn(4) ? extremes[dice.Whole(0, 11)] : dice.Real(-50, 50); };
      stroke.points.push_back({coordinate(), coordinate()});
    }
    stroke.width = dice.OneIn(3) ? extremes[dice.Whole(0, 11)] : 10;
    stroke.quality = dice.Whole(1, 16);
    stroke.stopAtReport = 50;
    Picture picture(8, 8);
    const StrokeOutcome outcome = Draw(stroke, picture);
    ASSERT_TRUE(outcome.result == 0 || outcome.result == kStopCode) << "seed " << seed;
  }
  EXPECT_EQ(heap::BytesInUse(), 0U);
}

TEST(Stroke, KeepsMitresInRangeOnTheirBisector) {
  const StrokeTransform transform{5, -7, 16, 16};
  const PlacedOutline needle{{0, 0}, {1000, 0.0001F}, {0, 0.0002F}};
  for (const float width : {1.0F, 100.0F, 1e6F, 1e20F}) {
    for (const SubsamplePoint& offset : MakeOffsetPoints(needle, width, transform)) {
      EXPECT_LE(std::fabs(offset.x), kFarthestSubsample) << width;
      EXPECT_LE(std::fabs(offset.y), kFarthestSubsample) << width;
    }
  }
  const PlacedOutline corner{{0, 0}, {10, 7}, {-3, 10}};
  const SubsamplePoint along = MakeOffsetPoints(corner, 1, {0, 0, 1, 1})[0];
  for (const StrokeTransform& to : {StrokeTransform{0, 0, 1, 1}, {5e7F, -4e7F, 2, 3}, {-5e7F, 4e7F, 3, 2}}) {
    const SubsamplePoint end = MakeOffsetPoints(corner, 1e9F, to)[0];
    EXPECT_NEAR(std::max(std::fabs(end.x), std::fabs(end.y)), kFarthestSubsample, 64);
    const PlacedPoint way{(end.x - to.offsetX) / to.scaleX, (end.y - to.offsetY) / to.scaleY};
    EXPECT_GT(way.x * along.x + way.y * along.y, 0);
    EXPECT_NEAR(way.x * along.y, way.y * along.x, 1e-5F * std::hypot(way.x, way.y)) << to.offsetX;
  }
}

TEST(Stroke, IsNothingWithoutAnArea) {
  const std::pair<PlacedOutline, bool> cases[] = {
      {{}, false},
      {{{3, 4}}, false},
      {{{3, 4}, {30, 9}}, false},
      {{{3, 4}, {30, 9}, {57, 14}}, false},                   // in a line
      {{{0, 0}, {0.9F, 0}, {0.9F, 0.9F}, {0, 0.9F}}, false},  // in a small layer of narrow pixels
      {{{0, 0}, {1.1F, 0}, {1.1F, 1.1F}, {0, 1.1F}}, true},
  };
  for (const auto& [points, drawn] : cases) {
    StrokeCase stroke;
    stroke.points = points;
    stroke.layerWidth = stroke.layerHeight = 1;
    stroke.pixelAspect = {1, 10};
    Picture picture(100, 100);
    const StrokeOutcome outcome = Draw(stroke, picture);
    EXPECT_EQ(outcome.result, 0) << points.size();
    EXPECT_EQ(!outcome.reports.empty(), drawn) << points.size();
  }
}

}  // namespace
}  // namespace orvandel
