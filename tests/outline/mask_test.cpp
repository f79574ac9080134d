#include "effect/outline/mask.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "effect/base/errors.h"
#include "effect/outline/placement.h"
#include "effect/params/param_ids.h"
#include "open_call.h"

namespace orvandel {
namespace {

using test::Callback;

class Mask : public testing::Test, protected test::HostWithWave {
 protected:
  Mask() : HostWithWave(100, 80) {}

  // Builds in a call of its own. Returns the code, 0 when nothing was thrown; nothing may stay lent.
  std::int32_t Build() {
    std::int32_t code = 0;
    {
      test::OpenCall call(host);
      try {
        BuildMaskShape(wave, call.context);
      } catch (const AbortException& stop) {
        code = stop.code;
      }
    }
    std::string lent;
    EXPECT_TRUE(host.Balanced(&lent)) << lent;
    EXPECT_EQ(wave.shapeValid, code == 0);
    return code;
  }
};

TEST_F(Mask, ARectangleKeepsOnePointPastEachCorner) {
  host.masks = {{{{30, 30}, {70, 30}, {70, 50}, {30, 50}}}};
  ASSERT_EQ(Build(), 0);
  // Around the layer's middle (50, 40); the farthest point is the start.
  const UnitOutline expected = {{-20, -10}, {20, -9}, {19, 10}, {-20, 9}};
  ASSERT_EQ(wave.shape.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_NEAR(wave.shape[i].x, expected[i].x / std::hypot(20, 10), 1e-6) << i;
    EXPECT_NEAR(wave.shape[i].y, expected[i].y / std::hypot(20, 10), 1e-6) << i;
  }
}

TEST_F(Mask, SegmentsYieldWholeStepsShortOfTheirEnd) {
  struct Case {
    double length;
    std::int64_t samples;
  };
  for (const Case& c : {Case{10, 9}, {10.5, 10}, {2, 1}, {2.25, 2}, {1, 1}, {0.25, 1}, {0, 1}}) {
    host.masks = {{{{5, 5}, {5 + c.length, 5}}}};  // there and back
    host.ResetCalls();
    ASSERT_EQ(Build(), 0);
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
    EXPECT_EQ(Build(), 0);
    EXPECT_TRUE(wave.shape.empty());
  }
  host.masks = {{{{50, 40}}}};
  EXPECT_EQ(Build(), 0);
  EXPECT_EQ(wave.shape, (UnitOutline{{0, 0}}));
}

TEST_F(Mask, OpenPathsAndEveryFailingCallStop) {
  host.masks = {{{{30, 30}, {33, 30}, {33, 32}, {30, 32}}}};
  const std::uint64_t heapBefore = heap::BytesInUse();
  for (const Callback callback : {Callback::kCheckOutPath, Callback::kIsOpen, Callback::kSegmentCount,
                                  Callback::kPrepareQuery, Callback::kSegmentLength, Callback::kPointAtLength}) {
    int failures = 0;
    for (std::int64_t at = 0;; ++at) {
      host.Arm({callback, at, 4711});
      const std::int32_t code = Build();
      if (code == 0) break;
      EXPECT_EQ(code, 4711);
      EXPECT_TRUE(wave.shape.empty());
      ++failures;
    }
    EXPECT_GE(failures, 1);
    host.Disarm();
  }
  for (const double far : {std::nan(""), HUGE_VAL, 1.1e7}) {
    host.masks[0].points[1] = {far, 30};
    EXPECT_EQ(Build(), 512);
  }
  host.Arm({Callback::kCheckOut, 0, 4711});
  EXPECT_EQ(Build(), 512) << "whether there is a mask is not known";
  host.Disarm();
  host.masks[0].open = true;
  EXPECT_EQ(Build(), 513);
  EXPECT_EQ(std::string(host.out.message), "Open paths cannot be turned into waves.");
  EXPECT_EQ(host.out.outFlags, 0U);
  wave.shape = UnitOutline();
  EXPECT_EQ(heap::BytesInUse(), heapBefore);
}

}  // namespace
}  // namespace orvandel
