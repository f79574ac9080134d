// Image contours: from a picture on the host to a wave's shape.
#include "effect/outline/contour.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

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

  // Builds in a call of its own; whether it rebuilt.
  bool Build() {
    host.ResetCalls();
    test::OpenCall call(host);
    wave.placedValid = true;
    EXPECT_EQ(BuildContourShape(wave, call.context, traces), 0);
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
