// The scan against the slow rendering, and what holds for every stroke.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <sstream>

#include "checked_heap.h"
#include "effect/render/stroke_scan.h"
#include "slow_stroke.h"

namespace orvandel {
namespace {

class Dice {
 public:
  explicit Dice(std::uint32_t seed) : engine_(seed) {}
  std::int32_t Whole(std::int32_t low, std::int32_t high) {
    return low + static_cast<std::int32_t>(engine_() % static_cast<std::uint32_t>(high - low + 1));
  }
  float Real(float low, float high) { return low + (high - low) * static_cast<float>(engine_() % 65536) / 65535.0F; }
  bool OneIn(std::int32_t n) { return Whole(1, n) == 1; }

 private:
  std::mt19937 engine_;
};

Point2f OnCircle(float angle, float radius) { return {radius * std::cos(angle), radius * std::sin(angle)}; }

Outline RandomOutline(Dice& dice, float radius) {
  const std::int32_t kind = dice.Whole(0, 5);
  const std::int32_t count = dice.OneIn(8) ? dice.Whole(60, 200) : dice.Whole(3, 14);
  const float turn = dice.Real(0, 6.2832F), depth = dice.Real(0.001F, 2.0F);
  Outline points;
  for (std::int32_t i = 0; i < count; ++i) {
    const float angle = turn + 6.2831855F * static_cast<float>(i) / static_cast<float>(count);
    const Point2f anywhere{dice.Real(-radius, radius), dice.Real(-radius, radius)};
    switch (kind) {
      case 0:  // polygon
        points.push_back(OnCircle(angle, radius));
        break;
      case 1:  // star, from needles to inward points
        points.push_back(OnCircle(angle, i % 2 == 0 ? radius : radius * depth));
        break;
      case 2:  // irregular
        points.push_back(OnCircle(angle, radius * dice.Real(0.4F, 1.0F)));
        break;
      case 3:  // crossing itself at random
        points.push_back(anywhere);
        break;
      case 4:  // on whole coordinates: horizontal edges, ends exactly on rows, equal points
        points.push_back({std::floor(anywhere.x / 4) * 4, std::floor(anywhere.y / 4) * 4});
        break;
      default:  // rectangles in stairs
        points.push_back({points.empty() || i % 2 == 0 ? anywhere.x : points.back().x,
                          points.empty() || i % 2 == 1 ? anywhere.y : points.back().y});
    }
  }
  if (dice.OneIn(2)) std::reverse(points.begin(), points.end());
  return points;
}

// Puts a point near the middle of every segment: turns too slight for a bisector of their own.
void BendSlightly(Outline& points, Dice& dice) {
  Outline bent;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const Point2f a = points[i], b = points[(i + 1) % points.size()];
    const float bend = dice.Real(-0.002F, 0.002F);
    bent.push_back(a);
    bent.push_back({(a.x + b.x) / 2 - (b.y - a.y) * bend, (a.y + b.y) / 2 + (b.x - a.x) * bend});
  }
  points = bent;
}

// Leaves whole layer pixels whole: ends exactly on rows and columns, edges that stand at the same x.
void KeepWholePixels(StrokeCase& stroke, Dice& dice) {
  for (Point2f& p : stroke.points) p = {std::round(p.x), std::round(p.y)};
  stroke.width = static_cast<float>(dice.Whole(0, 12));
  stroke.layerWidth = stroke.layerHeight = 64;
  stroke.origin = {0.5F, 0.25F};
  stroke.downsampleX = stroke.downsampleY = stroke.pixelAspect = {1, 1};
}

StrokeCase RandomStroke(Dice& dice) {
  StrokeCase stroke;
  stroke.quality = dice.OneIn(3) ? 1 : dice.Whole(2, dice.OneIn(4) ? 16 : 5);
  const float radius = dice.Real(1, 250) / static_cast<float>(stroke.quality);
  stroke.points = RandomOutline(dice, radius);
  stroke.width = dice.OneIn(10) ? 0.0F : dice.Real(0.1F, dice.OneIn(3) ? 2 * radius : 8);
  stroke.opacity = dice.Real(0.05F, 1);
  stroke.profile = static_cast<std::uint32_t>(dice.Whole(1, 8));
  stroke.color = static_cast<std::uint32_t>(dice.Whole(0, 0xFFFFFF) * 128);
  stroke.reflection = dice.OneIn(2);
  stroke.layerWidth = dice.Whole(1, 120);
  stroke.layerHeight = dice.Whole(1, 120);
  stroke.origin = {dice.Real(-0.3F, 1.3F), dice.Real(-0.3F, 1.3F)};
  const OrvRatio ratios[] = {{1, 1}, {1, 1}, {1, 2}, {2, 3}};
  stroke.downsampleX = ratios[dice.Whole(0, 3)];
  stroke.downsampleY = ratios[dice.Whole(0, 3)];
  if (dice.OneIn(3)) stroke.pixelAspect = {10, 11};
  if (dice.OneIn(4)) stroke.outputOrigin = {dice.Whole(-50, 50), dice.Whole(-50, 50)};
  if (dice.OneIn(4)) BendSlightly(stroke.points, dice);
  if (dice.OneIn(3)) KeepWholePixels(stroke, dice);
  if (dice.OneIn(60)) {
    for (Point2f& p : stroke.points) p.y *= 150;  // u drifts along edges of many rows
  }
  if (dice.OneIn(5)) stroke.stopAtReport = dice.Whole(0, 60);
  return stroke;
}

// Bytes of every kind, clear pixels among them, so that the blend's order shows.
Picture RandomPicture(Dice& dice) {
  const bool tiny = dice.OneIn(6);
  Picture picture(tiny ? 1 : dice.Whole(1, 90), tiny ? 1 : dice.Whole(1, 90), dice.Whole(0, 3) * 4);
  if (dice.OneIn(2)) return picture;
  for (std::uint8_t& byte : picture.Bytes()) byte = static_cast<std::uint8_t>(dice.OneIn(4) ? 0 : dice.Whole(0, 255));
  return picture;
}

std::string Describe(const StrokeCase& stroke) {
  std::ostringstream text;
  text << "quality " << stroke.quality << ", reflection " << stroke.reflection << ", width " << stroke.width
       << ", profile " << stroke.profile << ", stop " << stroke.stopAtReport << ", points";
  for (const Point2f& p : stroke.points) text << " (" << p.x << ' ' << p.y << ')';
  return text.str();
}

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

// ORVANDEL_SEED=n runs that stroke alone.
TEST(Stroke, EqualsTheSlowRendering) {
  if (const char* seed = std::getenv("ORVANDEL_SEED")) {
    CompareWithSlowRendering(static_cast<std::uint32_t>(std::strtoul(seed, nullptr, 10)));
    return;
  }
  constexpr std::uint32_t kStrokes = 4000;
  std::uint32_t compared = 0;
  for (std::uint32_t seed = 1; seed <= kStrokes && !HasFailure(); ++seed) compared += CompareWithSlowRendering(seed);
  if (!HasFailure()) {
    EXPECT_GT(compared, kStrokes * 9 / 10);
  }
  EXPECT_EQ(checked_heap::BlocksInUse(), 0);
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
    Outline points, expected;
    for (std::int32_t i = dice.Whole(0, 12); i > 0; --i) {
      points.push_back({static_cast<float>(dice.Whole(0, 3)), static_cast<float>(dice.Whole(0, 3))});
    }
    expected = points;
    Point2f previous = points.empty() ? Point2f{} : points.back();
    for (std::size_t i = 0; i < expected.size();) {
      const Point2f here = expected[i], next = expected[i + 1 < expected.size() ? i + 1 : 0];
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
    StrokeQuad quad;
    quad.edges[1] = 1;
    quad.edges[2] = 2;
    for (const std::int32_t order : {1, 2}) {
      quad.order = order;
      RowBuffer cells(0, 11);
      Span touched;
      ASSERT_TRUE(ScanQuadRow(quad, edges, cells, 0, 10, touched));
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
  EXPECT_EQ(checked_heap::BlocksInUse(), 0);
}

TEST(Stroke, KeepsMitresInRangeOnTheirBisector) {
  const StrokeTransform transform{5, -7, 16, 16};
  const Outline needle{{0, 0}, {1000, 0.0001F}, {0, 0.0002F}};
  for (const float width : {1.0F, 100.0F, 1e6F, 1e20F}) {
    for (const Point2f& offset : MakeOffsetPoints(needle, width, transform)) {
      EXPECT_LE(std::fabs(offset.x), kFarthestSubsample) << width;
      EXPECT_LE(std::fabs(offset.y), kFarthestSubsample) << width;
    }
  }
  const Outline corner{{0, 0}, {10, 10}, {-10, 10}};
  const Point2f shortened = MakeOffsetPoints(corner, 1e8F, {0, 0, 1, 1})[0];
  EXPECT_NEAR(shortened.y, kFarthestSubsample, 16);
  EXPECT_NEAR(shortened.x, 0, 64) << "the bisector of this corner is vertical";
}

}  // namespace
}  // namespace orvandel
