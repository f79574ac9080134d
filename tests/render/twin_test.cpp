// The fast drawing code, in every instruction set at hand, against the plain scan: the same bytes, answers and reports.

#include <gtest/gtest.h>

#include <algorithm>

#include "effect/heap/heap.h"
#include "effect/render/fast/job/stroke_job.h"
#include "effect/render/stroke_code.h"
#include "random_stroke.h"
#include "tests/support/seeds.h"

namespace orvandel {
namespace {

struct Drawn {
  Picture picture;
  StrokeOutcome outcome;
  bool operator==(const Drawn& other) const {
    return picture == other.picture && outcome.result == other.outcome.result &&
           outcome.aborted == other.outcome.aborted && outcome.reports == other.outcome.reports;
  }
};

Drawn DrawWith(StrokeCode code, const StrokeCase& stroke, const Picture& ground) {
  const StrokeCode usual = CurrentStrokeCode();
  EXPECT_TRUE(ChooseStrokeCode(code));
  Drawn drawn{ground, {}};
  drawn.outcome = Draw(stroke, drawn.picture);
  ChooseStrokeCode(usual);
  return drawn;
}

bool Differs(StrokeCode code, const StrokeCase& stroke, const Picture& ground) {
  return !(DrawWith(code, stroke, ground) == DrawWith(StrokeCode::kPlain, stroke, ground));
}

// Takes points away, one at a time, as long as the difference stays.
StrokeCase Shrunk(StrokeCode code, StrokeCase stroke, const Picture& ground) {
  for (std::size_t i = 0; i < stroke.points.size();) {
    StrokeCase smaller = stroke;
    smaller.points.erase(smaller.points.begin() + static_cast<std::ptrdiff_t>(i));
    if (Differs(code, smaller, ground)) {
      stroke = smaller;
      i = 0;
    } else {
      ++i;
    }
  }
  return stroke;
}

std::vector<StrokeCode> CodesAtHand() {
  std::vector<StrokeCode> codes;
  const StrokeCode usual = CurrentStrokeCode();
  for (const StrokeCode code : {StrokeCode::kPortable, StrokeCode::kAvx2, StrokeCode::kAvx512}) {
    if (ChooseStrokeCode(code)) codes.push_back(code);
  }
  ChooseStrokeCode(usual);
  return codes;
}

void StretchBy(PlacedOutline& points, float x, float y) {
  for (PlacedPoint& p : points) p = {p.x * x, p.y * y};
}

// The same size in subsamples: the plain code's time grows with their number.
void SetQuality(StrokeCase& stroke, std::int32_t quality) {
  const float factor = static_cast<float>(stroke.quality) / static_cast<float>(quality);
  StretchBy(stroke.points, factor, factor);
  stroke.width *= factor;
  stroke.quality = quality;
}

// What small pictures do not reach: several bands of rows, words by the hundred, runs and edges of many thousands of
// subsamples, and parts far outside the picture.
void MakeLarge(StrokeCase& stroke, Picture& ground, Dice& dice) {
  stroke.points.resize(std::min<std::size_t>(stroke.points.size(), 40));
  switch (dice.Whole(0, 5)) {
    case 0:  // a picture of several bands
      ground = Picture(dice.Whole(200, 420), dice.Whole(100, 200), 4);
      StretchBy(stroke.points, 4, 4);
      break;
    case 1:  // long runs
      ground = Picture(dice.Whole(600, 2400), dice.Whole(1, 5));
      StretchBy(stroke.points, 80, 0.05F);
      SetQuality(stroke, dice.Whole(4, 16));
      break;
    case 2:  // long runs of many rows, along which u hardly changes
      ground = Picture(dice.Whole(60, 150), dice.Whole(20, 60));
      StretchBy(stroke.points, 4, 4);
      stroke.width *= 8;
      SetQuality(stroke, 16);
      break;
    case 3:  // bands of a few rows
      ground = Picture(dice.Whole(8000, 20000), dice.Whole(1, 12));
      StretchBy(stroke.points, 40, 0.1F);
      SetQuality(stroke, dice.Whole(5, 16));
      break;
    case 4:  // tall edges, most of them above the picture or below
      ground = Picture(dice.Whole(1, 20), dice.Whole(1, 200));
      StretchBy(stroke.points, 0.25F, 40);
      break;
    default:  // so large that not all of it is drawn by the fast code
      ground = Picture(dice.Whole(1, 30), dice.Whole(1, 30));
      StretchBy(stroke.points, dice.Real(1, 400), 1);
      stroke.stopAtReport = dice.Whole(0, 10);
  }
  stroke.layerWidth = ground.Width();
  stroke.layerHeight = ground.Height();
}

void CompareTwins(std::uint32_t seed, const std::vector<StrokeCode>& codes) {
  Dice dice(seed);
  StrokeCase stroke = RandomStroke(dice);
  Picture ground = RandomPicture(dice);
  SetQuality(stroke, static_cast<std::int32_t>(seed % 16) + 1);
  if (dice.OneIn(40)) MakeLarge(stroke, ground, dice);
  const Drawn expected = DrawWith(StrokeCode::kPlain, stroke, ground);
  for (const StrokeCode code : codes) {
    const Drawn actual = DrawWith(code, stroke, ground);
    if (actual == expected) continue;
    const auto& bytes = expected.picture.Bytes();
    const auto at = std::mismatch(bytes.begin(), bytes.end(), actual.picture.Bytes().begin()).first - bytes.begin();
    ADD_FAILURE() << "seed " << seed << ", code " << static_cast<int>(code) << ", picture " << ground.Width() << " x "
                  << ground.Height() << ", first differing byte " << at << " of " << bytes.size() << ", result "
                  << actual.outcome.result << " for " << expected.outcome.result << ", reports "
                  << actual.outcome.reports.size() << " for " << expected.outcome.reports.size()
                  << "\nsmallest: " << Describe(Shrunk(code, stroke, ground));
  }
}

TEST(Twins, DrawTheSameBytes) {
  const std::vector<StrokeCode> codes = CodesAtHand();
  ASSERT_FALSE(codes.empty());
  test::ForEachSeed(2000, [&codes](std::uint32_t seed) { CompareTwins(seed, codes); });
  EXPECT_EQ(heap::BytesInUse(), 0U);
}

// Below the level edge at 22 and above the one at 25 a width below 0 draws inside this outline, and nothing between:
// rows that lie two heights of the picture apart follow each other.
TEST(Twins, BlendOnceWhatFoldsOntoARowWithNothingDrawnBetween) {
  StrokeCase stroke;
  stroke.points = {{-27, -23}, {31, -23}, {-6, 22}, {-34, 22}, {-34, 25}, {37, 25}};
  stroke.opacity = 0.5F;
  stroke.reflection = true;
  const Picture ground(60, 1);
  for (stroke.quality = 1; stroke.quality <= 16; ++stroke.quality) {
    for (stroke.width = -0.1F; stroke.width > -1.0F; stroke.width *= 1.5F) {
      for (const StrokeCode code : CodesAtHand()) EXPECT_FALSE(Differs(code, stroke, ground)) << Describe(stroke);
    }
  }
}

// Around the width from which on the plain code draws by itself.
TEST(Twins, DrawTheWidestStrokes) {
  for (const std::int32_t quality : {1, 2, 3, 4, 16}) {
    for (std::int32_t beyond = -18; beyond <= 2; beyond += quality) {
      const auto right = static_cast<float>(15 + (fast::kWidestStroke + beyond) / quality);
      StrokeCase stroke;
      stroke.quality = quality;
      stroke.points = {{15, 0}, {right, 0}, {right, 4}, {15, 4}};
      stroke.width = 1.5F;
      stroke.opacity = 0.5F;
      const Picture ground((1 << 18) / quality + 40, 4);
      for (const StrokeCode code : CodesAtHand()) {
        EXPECT_FALSE(Differs(code, stroke, ground)) << "code " << static_cast<int>(code) << ", " << Describe(stroke);
      }
    }
  }
}

// A needle whose ruling from tip to mitre has so many rows that u, one rounded addition a row, leaves 0 to 1: in the
// picture are the last of them, and what drops out there.
StrokeCase Needle(Dice& dice, const Picture& ground) {
  StrokeCase stroke;
  const std::int32_t qualities[] = {1, 2, 3, 4, 8, 16};
  stroke.quality = qualities[dice.Whole(0, 5)];
  stroke.profile = dice.OneIn(2) ? 1 : static_cast<std::uint32_t>(dice.Whole(2, 8));
  stroke.rowsBetweenReports = 1 << 20;
  stroke.layerWidth = ground.Width();
  stroke.layerHeight = ground.Height();
  const float half = dice.Real(10, 200), part = dice.Real(0.3F, 0.95F);  // of the needle's length, to the mitre's end
  const float mitre = dice.Real(100'000, 4'000'000) / static_cast<float>(stroke.quality), length = mitre / part;
  stroke.width = half * part;
  const float x = dice.Real(0, 20), y = dice.Real(0, 60), lean = dice.Real(-10, 10);
  stroke.points = {{x, y - mitre}, {x + half + lean, y - mitre + length}, {x - half + lean, y - mitre + length}};
  if (dice.OneIn(4)) stroke.points = {stroke.points[0], stroke.points[2], stroke.points[1]};
  if (dice.OneIn(6)) StretchBy(stroke.points, 1, -1);
  stroke.origin = {0.2F, stroke.points[0].y < 0 ? 0.0F : 1.0F};
  return stroke;
}

TEST(Twins, DropTheSameSamplesWhereUHasDrifted) {
  const std::vector<StrokeCode> codes = CodesAtHand();
  for (std::uint32_t seed = 1; seed <= 60; ++seed) {
    Dice dice(seed);
    const Picture ground(dice.Whole(20, 40), dice.Whole(20, 500));
    const StrokeCase stroke = Needle(dice, ground);
    const Drawn expected = DrawWith(StrokeCode::kPlain, stroke, ground);
    for (const StrokeCode code : codes) {
      EXPECT_TRUE(DrawWith(code, stroke, ground) == expected) << "seed " << seed << ", " << Describe(stroke);
    }
  }
}

Drawn DrawAllWith(StrokeCode code, const std::vector<StrokeCase>& strokes, const Picture& ground) {
  const StrokeCode usual = CurrentStrokeCode();
  EXPECT_TRUE(ChooseStrokeCode(code));
  WaveList list;
  for (const StrokeCase& stroke : strokes) list.Append() = WaveOf(stroke);
  Drawn drawn{ground, {}};
  drawn.outcome = DrawAll(list, strokes.front(), drawn.picture);
  ChooseStrokeCode(usual);
  return drawn;
}

// Strokes of one frame, of all profiles, some folded at the picture's edges, some with so many points that not all of
// them find room to wait.
std::vector<StrokeCase> RandomFrame(Dice& dice, const Picture& ground) {
  const StrokeCase call = RandomStroke(dice);
  const std::int32_t count = dice.Whole(2, dice.OneIn(4) ? 60 : 12);
  const bool reaching = dice.OneIn(2);  // beyond the picture's edges
  std::vector<StrokeCase> strokes;
  for (std::int32_t i = 0; i < count; ++i) {
    StrokeCase stroke = RandomStroke(dice);
    SetQuality(stroke, call.quality);
    if (!reaching) StretchBy(stroke.points, 0.2F, 0.2F);
    if (dice.OneIn(3)) stroke.profile = 1;
    stroke.layerWidth = ground.Width();
    stroke.layerHeight = ground.Height();
    stroke.reflection = call.reflection;
    stroke.downsampleX = call.downsampleX;
    stroke.downsampleY = call.downsampleY;
    stroke.pixelAspect = call.pixelAspect;
    stroke.outputOrigin = call.outputOrigin;
    stroke.stopAtReport = dice.OneIn(3) ? dice.Whole(0, 3000) : -1;
    strokes.push_back(stroke);
  }
  return strokes;
}

TEST(Twins, DrawTheSameFrames) {
  for (std::uint32_t seed = 1; seed <= 400; ++seed) {
    Dice dice(seed);
    const Picture ground = dice.OneIn(3) ? RandomPicture(dice) : Picture(dice.Whole(40, 200), dice.Whole(20, 120));
    const std::vector<StrokeCase> strokes = RandomFrame(dice, ground);
    const Drawn expected = DrawAllWith(StrokeCode::kPlain, strokes, ground);
    for (const StrokeCode code : CodesAtHand()) {
      ASSERT_TRUE(DrawAllWith(code, strokes, ground) == expected) << "seed " << seed << ", " << strokes.size();
    }
  }
  EXPECT_EQ(heap::BytesInUse(), 0U);
}

// Every row that the host can stop at, in one band and in the middle of bands.
TEST(Twins, StopAtTheSameRow) {
  for (const std::int32_t quality : {1, 2, 4, 7, 16}) {
    StrokeCase stroke;
    stroke.points = {{-30, -12}, {40, -7}, {33, 20}, {-8, 25}};
    stroke.quality = quality;
    stroke.profile = quality == 4 ? 5 : 1;
    stroke.layerWidth = stroke.layerHeight = 60;
    stroke.origin = {0.5F, 0.2F};
    stroke.reflection = quality == 2 || quality == 7;
    const Picture ground(60, 41);
    const auto rows = static_cast<int>(DrawWith(StrokeCode::kPlain, stroke, ground).outcome.reports.size());
    for (stroke.stopAtReport = 0; stroke.stopAtReport < rows; ++stroke.stopAtReport) {
      for (const StrokeCode code : CodesAtHand()) {
        ASSERT_FALSE(Differs(code, stroke, ground)) << "row " << stroke.stopAtReport << ", quality " << quality;
      }
    }
  }
}

}  // namespace
}  // namespace orvandel
