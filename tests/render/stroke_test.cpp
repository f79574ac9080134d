// What holds for every stroke.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

#include "effect/heap/heap.h"
#include "effect/render/reference/stroke_scan.h"
#include "effect/render/stroke_code.h"
#include "effect/render/stroke_outline.h"
#include "random_stroke.h"
#include "tests/support/seeds.h"

namespace orvandel {
namespace {

// FNV-1a over 32-bit words.
class Hash {
 public:
  void Add(std::uint32_t word) { value_ = (value_ ^ word) * 1099511628211U; }
  std::uint64_t Value() const { return value_; }

 private:
  std::uint64_t value_ = 14695981039346656037U;
};

// Pictures, answers and reports of the plain code. The numbers have been compared with a drawing that was written for
// plainness alone: change them only when pictures are meant to change.
TEST(Stroke, RandomOnesKeepTheirBytes) {
  constexpr std::uint64_t kHashes[] = {0x6d7d4a7e44e7faeb, 0x4ea45b67a465cf87, 0x29ada46eb6ec6029, 0x27385233446369f,
                                       0xd8a58c6dfe67021,  0xf2ecd9b54e7e80e9, 0x330aab8d05547f10, 0x99141880842314d7,
                                       0x87f6daf64bb543b3, 0x67e72a6932f47342, 0x53e07f6a42557402, 0x81e1b7a68226643a,
                                       0xe8a662daed24b9b5, 0x5f18e26ec06aeae9, 0x44ce31a5faa9c2aa, 0x54e107133ea84d52};
  const StrokeCode usual = CurrentStrokeCode();
  ASSERT_TRUE(ChooseStrokeCode(StrokeCode::kPlain));
  std::uint32_t seed = 0;
  for (const std::uint64_t expected : std::span(kHashes).first(std::max<std::size_t>(16 / test::Thinning(), 1))) {
    Hash hash;
    for (const std::uint32_t end = seed + 250; seed < end; ++seed) {
      Dice dice(seed);
      const StrokeCase stroke = RandomStroke(dice);
      Picture picture = RandomPicture(dice);
      const StrokeOutcome outcome = Draw(stroke, picture);
      for (const std::uint8_t byte : picture.Bytes()) hash.Add(byte);
      for (const ProgressReport& report : outcome.reports) {
        hash.Add(static_cast<std::uint32_t>(report.done));
        hash.Add(static_cast<std::uint32_t>(report.total));
      }
      hash.Add(static_cast<std::uint32_t>(outcome.result ^ outcome.aborted << 16));
    }
    EXPECT_EQ(hash.Value(), expected) << "0x" << std::hex << hash.Value() << ", of the 250 before seed " << std::dec
                                      << seed;
  }
  ChooseStrokeCode(usual);
  EXPECT_EQ(heap::BytesInUse(), 0U);
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
    for (const bool outlineLeft : {true, false}) {
      piece.outlineLeft = outlineLeft;
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
