// Image contours: from a picture on the host to a wave's shape.
#include "effect/outline/contour.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "effect/base/errors.h"
#include "effect/outline/placement.h"
#include "effect/outline/simplify.h"
#include "effect/outline/unit_frame.h"
#include "effect/params/param_ids.h"
#include "open_call.h"

namespace orvandel {
namespace {

using test::Callback;
using test::FencedImage;

void FillAlpha(FencedImage& image, std::int32_t left, std::int32_t top, std::int32_t w, std::int32_t h,
               std::uint8_t alpha = 255) {
  for (std::int32_t y = top; y < top + h; ++y) {
    for (std::int32_t x = left; x < left + w; ++x) image.Pixel(x, y)[0] = alpha;
  }
}

class Contour : public testing::Test, protected test::HostWithWave {
 protected:
  Contour() : HostWithWave(20, 16) {
    wave.valueChannel = kAlpha;
    wave.valueThreshold = 127;
    wave.tolerance = 0.5F;
    wave.contour = 1;
    wave.sourceCenter = {0.5F, 0.5F};
  }

  TracedContour Trace(std::int32_t wanted, float threshold = 127) {
    test::OpenCall call(host);
    ContourJob job;
    job.valueThreshold = threshold;
    job.source = call.context.input;
    job.valueImage = call.context.outputView;
    job.context = &call.context;
    host.ResetCalls();
    TracedContour traced;
    EXPECT_EQ(TraceContours(job, wanted, traced), 0);
    EXPECT_EQ(host.Calls(Callback::kAbort), 1 + traced.found);
    return traced;
  }

  // Builds in a call of its own; whether it rebuilt. `stopped`: the host's code. Passes exceptions on.
  bool Build(std::int32_t* stopped = nullptr) {
    host.ResetCalls();
    test::OpenCall call(host);
    wave.placedValid = true;
    const std::int32_t code = BuildContourShape(wave, call.context, traces);
    if (stopped != nullptr) *stopped = code;
    if (code != 0) return false;
    const bool rebuilt = !wave.placedValid;
    // A traced picture goes back at once; one that was only looked at stays for the next wave.
    const bool held = call.context.SlotOf(kSourceLayer).held || call.context.SlotOf(kInputLayer).held;
    EXPECT_EQ(held, !rebuilt);
    return rebuilt;
  }

  void FillThreeRegions() {
    FillAlpha(host.input, 14, 1, 3, 3);
    FillAlpha(host.input, 2, 4, 5, 5);
    FillAlpha(host.input, 10, 4, 2, 7);
  }

  TraceMemory traces;
};

TEST_F(Contour, PixelRectangleAndRing) {
  FillAlpha(host.input, 5, 7, 1, 1);
  EXPECT_EQ(Trace(1).chain, (PictureOutline{{4.5F, 6.5F}, {5.5F, 6.5F}, {5.5F, 7.5F}, {4.5F, 7.5F}, {4.5F, 6.5F}}));

  host.input = FencedImage(20, 16);
  FillAlpha(host.input, 3, 2, 5, 4);
  const TracedContour rectangle = Trace(1);
  EXPECT_EQ(rectangle.chain.size(), 19U);
  PictureOutline thinned;
  SimplifyPolyline(rectangle.chain, thinned, 0.5F);
  EXPECT_EQ(thinned, (PictureOutline{{2.5F, 1.5F}, {7.5F, 2.5F}, {6.5F, 5.5F}, {2.5F, 4.5F}}));

  FillAlpha(host.input, 3, 2, 9, 9);
  FillAlpha(host.input, 6, 5, 3, 3, 0);
  EXPECT_EQ(Trace(1).found, 2);
  const PictureOutline hole = Trace(2).chain;
  EXPECT_EQ(hole[0], (PicturePoint{5.5F, 4.5F}));
  EXPECT_EQ(hole[1], (PicturePoint{6.5F, 4.5F}));  // clockwise, like the outside
}

TEST_F(Contour, CountInRasterOrderAndStopAtTheLast) {
  FillThreeRegions();
  const PicturePoint starts[] = {{13.5F, 0.5F}, {1.5F, 3.5F}, {9.5F, 3.5F}};
  const std::pair<std::int32_t, int> cases[] = {{1, 0}, {2, 1}, {3, 2}, {4, 2}, {1000, 2}, {0, 0}, {-5, 0}};
  for (const auto& [wanted, got] : cases) {
    const TracedContour traced = Trace(wanted);
    EXPECT_EQ(traced.found, 3);
    EXPECT_EQ(traced.chain.front(), starts[got]) << wanted;
  }
}

TEST_F(Contour, Thresholds) {
  for (const float none : {0.0F, -40.0F, std::nanf("")}) {  // the frame is marked even without a picture
    EXPECT_EQ(Trace(1, none).chain.front(), (PicturePoint{-0.5F, -0.5F}));
    EXPECT_EQ(Trace(1, none).chain.size(), 2 * (20 + 16) + 1U);
  }
  EXPECT_EQ(Trace(1, 1).found, 0);
  FillAlpha(host.input, 0, 0, 20, 16, 90);
  EXPECT_EQ(Trace(1, 90).found, 1);  // a flat area at the threshold: one marked area
  EXPECT_EQ(Trace(1, 90.5F).found, 0);
  EXPECT_EQ(Trace(1, 1e9F).found, 0);
}

TEST_F(Contour, ShapesAreCentredWithTheirFarthestPointAtOne) {
  FillThreeRegions();
  for (const FractionPoint centre : {FractionPoint{0.5F, 0.5F}, FractionPoint{0, 1}, FractionPoint{-3, 7}}) {
    wave.sourceCenter = centre;
    wave.shapeValid = false;
    ASSERT_TRUE(Build());
    float farthest = 0;
    for (const UnitPoint p : wave.shape) farthest = std::max(farthest, std::hypot(p.x, p.y));
    EXPECT_NEAR(farthest, 1, 1e-6);
    for (const std::uint32_t contour : {2U, 3U, 1000U, ~0U, 1U}) {
      wave.contour = contour;
      wave.shapeValid = false;
      ASSERT_TRUE(Build());
      PictureOutline thinned;
      SimplifyPolyline(Trace(static_cast<std::int32_t>(contour)).chain, thinned, 0.5F);
      UnitOutline expected;
      MoveToUnitFrame(thinned, {centre.x * 20, centre.y * 16}, expected);
      EXPECT_EQ(wave.shape, expected);
    }
    EXPECT_NEAR(std::atan2(wave.shape[0].y, wave.shape[0].x), std::atan2(0.5F - centre.y * 16, 13.5F - centre.x * 20),
                1e-5);
  }
  for (const float odd : {std::nanf(""), HUGE_VALF, 3e38F}) {  // whatever the values, it ends
    for (float* field : {&wave.sourceCenter.x, &wave.tolerance, &wave.preBlur}) {
      const float kept = std::exchange(*field, odd);
      wave.shapeValid = false;
      EXPECT_TRUE(Build());
      *field = kept;
    }
  }
}

TEST_F(Contour, TracesAgainOnlyForAnotherPictureOrWithoutAContour) {
  EXPECT_TRUE(Build());
  EXPECT_TRUE(Build());  // nothing found: looks again
  EXPECT_TRUE(wave.shapeValid);
  FillThreeRegions();
  EXPECT_TRUE(Build());
  const UnitOutline shape = wave.shape;
  EXPECT_FALSE(Build());
  EXPECT_EQ(host.Calls(Callback::kAbort), 0);
  wave.waveType = kContourWave;
  for (const bool valid : {true, false}) {  // and is placed again only with its shape
    wave.placed = {{7, 7}};
    wave.placedValid = true;
    wave.shapeValid = valid;
    wave.curveSize = 1;
    UpdateWaveOutline(wave, test::OpenCall(host).context, traces);
    EXPECT_EQ(wave.placed.size(), valid ? 1 : shape.size());
    EXPECT_EQ(wave.curveSize, 0);
  }
  host.input.Pixel(0, 0)[3] = 200;  // the fingerprint begins there; alpha, and so the shape, does not change
  EXPECT_TRUE(Build());
  EXPECT_EQ(wave.shape, shape);
  // A picture of its own, larger than the output: the values are kept elsewhere.
  host.layers = {FencedImage(22, 16)};
  host.sourceLayer = 1;
  FillAlpha(host.layers[0], 3, 3, 2, 2);
  host.output = FencedImage(20, 16, 0xEE);
  EXPECT_TRUE(Build());
  EXPECT_NE(wave.shape, shape);
  EXPECT_EQ(host.output.Pixels(), FencedImage(20, 16, 0xEE).Pixels());
  // A narrow picture's fingerprint sees what lies behind its rows.
  host.layers = {FencedImage(9, 16)};
  FillAlpha(host.layers[0], 3, 3, 2, 2);
  EXPECT_TRUE(Build());
  EXPECT_FALSE(Build());
  for (std::int32_t y = 0; y < 16; ++y) std::memset(host.layers[0].Pixel(9, y), y, 20);
  EXPECT_TRUE(Build());
}

TEST_F(Contour, EveryAbortAndRefusedLayerStops) {
  FillThreeRegions();
  wave.preBlur = 1;
  wave.sampleTime = 7;
  // Rows, columns, lattice, contours; filling a layer slot does not look at the host's answer, fetching its pixels
  // does.
  // The second round of aborts meets a remembered trace, which checks just as often.
  const std::pair<Callback, std::set<int>> cases[] = {
      {Callback::kAbort, {}}, {Callback::kAbort, {}}, {Callback::kCheckOut, {0, 2}}};
  for (const auto& [callback, tolerated] : cases) {
    const int calls = callback == Callback::kAbort ? 16 + 20 + 1 + 3 : 4;
    for (int at = 0; at <= calls; ++at) {
      host.Arm({callback, at, 4711});
      wave.shape = {{9, 9}};
      std::int32_t code = 0;
      try {
        Build(&code);
        EXPECT_TRUE(code == 0 || callback == Callback::kAbort) << "only a stop is a code";
      } catch (const AbortException& refusal) {
        code = refusal.code;
        EXPECT_EQ(callback, Callback::kCheckOut);
      }
      if (code != 0 && callback == Callback::kAbort) {
        EXPECT_TRUE(!wave.shapeValid && wave.shape.empty());
        EXPECT_EQ(host.Calls(callback), at + 1);
      }
      EXPECT_EQ(code, at == calls || tolerated.count(at) != 0 ? 0 : 4711) << at;
      std::string lent;
      EXPECT_TRUE(host.Balanced(&lent)) << lent;
      wave.shapeValid = false;
    }
  }
  EXPECT_TRUE(host.output.FencesIntact());
  wave.shape = UnitOutline();
  traces = TraceMemory();
  ASSERT_EQ(host.Send(ORV_SEQUENCE_FLATTEN), 0);
  EXPECT_EQ(heap::BytesInUse(), 0U);
}

// A remembered trace is used where, and only where, all it depends on is the same, and then gives the same shape.
TEST_F(Contour, RememberedTracesEqualFreshOnes) {
  std::mt19937 random(5);
  const FencedImage untouched(20, 16, 0xEE);
  for (int round = 0; round < 300; ++round) {
    switch (random() % 6) {
      case 0:
        host.input.Pixel(static_cast<int>(random() % 20), static_cast<int>(random() % 16))[0] ^= 0xFF;
        break;
      case 1:
        wave.valueThreshold = static_cast<float>(random() % 200);
        break;
      case 2:
        wave.preBlur = static_cast<float>(random() % 3);
        break;
      case 3:
        wave.contour = static_cast<std::uint32_t>(random() % 4);
        break;
      case 4:
        wave.invertInput = !wave.invertInput;
        break;
      default:
        break;  // the same again: from memory
    }
    wave.shapeValid = false;
    ASSERT_TRUE(Build());
    const UnitOutline shape = wave.shape;
    const std::int64_t asked = host.Calls(Callback::kAbort);
    traces = TraceMemory();
    wave.shapeValid = false;
    ASSERT_TRUE(Build());
    EXPECT_EQ(wave.shape, shape) << "round " << round;
    EXPECT_EQ(host.Calls(Callback::kAbort), asked) << "round " << round;
    if (round % 2 == 0) continue;
    wave.shapeValid = false;
    host.output = untouched;  // a trace would use it as scratch
    ASSERT_TRUE(Build());
    EXPECT_EQ(wave.shape, shape);
    EXPECT_EQ(host.output.Pixels(), untouched.Pixels());
  }
}

}  // namespace
}  // namespace orvandel
