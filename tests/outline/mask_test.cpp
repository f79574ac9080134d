#include "effect/outline/mask.h"

#include <gtest/gtest.h>

#include <cmath>

#include "effect/base/errors.h"
#include "effect/outline/placement.h"
#include "open_call.h"

namespace orvandel {
namespace {

using test::Callback;

class Mask : public testing::Test, protected test::HostWithWave {
 protected:
  Mask() : HostWithWave(100, 80) {}

  void Build() {
    test::OpenCall call(host);
    BuildMaskShape(wave, call.context);
    EXPECT_TRUE(wave.shapeValid);
  }
};

TEST_F(Mask, SegmentsYieldWholeStepsShortOfTheirEnd) {
  struct Case {
    double length;
    std::int64_t samples;
  };
  for (const Case& c : {Case{10, 9}, {10.5, 10}, {2, 1}, {2.25, 2}, {1, 1}, {0.25, 1}, {0, 1}}) {
    host.masks = {{{{5, 5}, {5 + c.length, 5}}}};  // there and back
    host.ResetCalls();
    Build();
    EXPECT_EQ(host.Calls(Callback::kPointAtLength), 2 * c.samples) << c.length;
  }
}

TEST_F(Mask, WavesOfOneTimeShareThePathAndAreNeverRounded) {
  host.masks = {{{{30, 30}, {70, 30}, {70, 50}, {30, 50}}}};
  test::OpenCall call(host);
  TraceMemory traces;
  host.ResetCalls();
  wave.waveType = kMaskWave;
  wave.curveSize = 1;
  for (const std::int32_t time : {4, 4, 9, 9, 4}) {
    wave.sampleTime = time;
    UpdateWaveOutline(wave, call.context, traces);
    EXPECT_EQ(wave.placed.size(), 4U);
  }
  EXPECT_EQ(wave.curveSize, 0);
  EXPECT_EQ(host.Calls(Callback::kCheckOutPath), 3);
}

TEST_F(Mask, WithoutAMaskOrWithoutExtentNothingIsScaled) {
  for (const std::size_t masks : {0, 1}) {  // none, and one without segments
    host.masks.resize(masks);
    wave.shape = {{1, 2}};
    Build();
    EXPECT_TRUE(wave.shape.empty());
  }
  host.masks = {{{{50, 40}}}};
  Build();
  EXPECT_EQ(wave.shape, (UnitOutline{{0, 0}}));
}

TEST_F(Mask, OpenPathsAndLengthsBeyondSenseAreRefused) {
  const auto refusal = [this] {
    try {
      Build();
    } catch (const AbortException& stop) {
      return stop.code;
    }
    return 0;
  };
  for (const double far : {std::nan(""), HUGE_VAL, 1.1e7}) {
    host.masks = {{{{30, 30}, {far, 30}}}};
    EXPECT_EQ(refusal(), 512);
  }
  host.masks = {{{{30, 30}, {33, 30}}, true}};
  EXPECT_EQ(refusal(), 513);
  EXPECT_STREQ(host.out.message, "Open paths cannot be turned into waves.");
  EXPECT_TRUE(!wave.shapeValid && host.Balanced());
}

// A jump meets a wave that no frame has dropped yet.
TEST_F(Mask, IsTakenForWavesThatAreOverUnlessTheHostPromisesItsAnswers) {
  host.SetWord(kWaveType, kMaskWave);
  host.SetFixed(kFrequency, 0);
  host.SetFixed(kLifespan, 0.5);
  host.masks = {{{{30, 30}, {33, 30}}, true}};
  EXPECT_EQ(host.RenderTick(60), 513);
  host.changeStamp = 1;
  EXPECT_EQ(host.RenderTick(60), 0);
}

}  // namespace
}  // namespace orvandel
