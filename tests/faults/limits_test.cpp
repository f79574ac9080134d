// The limits behind which a value cannot be meant: one step inside, the effect goes on; one step outside, it refuses
// before it has begun what would hold the host for hours or take all its memory, and the next frame is right.
#include <gtest/gtest.h>

#include "effect/params/param_ids.h"
#include "effect/sim/wave.h"
#include "tests/faults/host_life.h"

namespace orvandel::test {
namespace {

class Limits : public testing::Test {
 protected:
  Limits() {
    for (const Step& step : {WholeLife()[0], WholeLife()[1], WholeLife()[2]}) EXPECT_EQ(life_.Send(step), 0);
  }
  ~Limits() override {
    EXPECT_EQ(life_.Disorder(), "");
    EXPECT_EQ(life_.host.SetDown(), 0);
    EXPECT_EQ(life_.Remains(), "");
  }
  FakeHost& Host() { return life_.host; }

  void ExpectNextFrameRight() {
    Host().pollsLeft = INT64_MAX;
    Apply(Host(), kVariant);
    Furnish(Host());
    EXPECT_EQ(life_.Send({ORV_RENDER, 4}), 0);
    EXPECT_TRUE(life_.ShowsFreshPicture({ORV_RENDER, 4}));
  }

  static constexpr Variant kVariant{Shape::kMask, false, false, false};
  HostLife life_{kVariant};
};

TEST_F(Limits, FramesAfterNineteenHoursAreRefusedUnread) {
  FakeHost& host = Host();
  host.timeScale = 30;  // ticks
  host.duration = 1;
  host.in.currentTime = 0;
  ASSERT_EQ(host.Render(0), 0);
  host.ResetCalls();
  host.pollsLeft = 0;
  EXPECT_EQ(host.Render(2097152), FakeHost::kOutOfPatience);
  EXPECT_GT(host.Calls(Callback::kPoll), 0);
  host.ResetCalls();
  EXPECT_EQ(host.Render(2097153), ORV_INVALID_CALLBACK);
  EXPECT_EQ(host.Calls(Callback::kPoll), 0);
  EXPECT_EQ(host.Calls(Callback::kCheckOut), 0);
  host.timeScale = 30000;
  ExpectNextFrameRight();
}

// Only a definition of another type holds such a number: the largest fixed one gives 1093 births a tick.
TEST_F(Limits, BirthsInOneTick) {
  FakeHost& host = Host();
  const auto renderWithBirths = [&host](std::int32_t birthsATick) {
    host.SetValue(kFrequency, [birthsATick](std::int32_t, OrvParamDef& d) {
      d.type = ORV_PARAM_INTEGER;
      d.value.integer.value = birthsATick * 30;
    });
    host.SetFixed(kExpansion, 0);
    return host.RenderTick(1);
  };
  EXPECT_EQ(renderWithBirths(4095), 0);  // the first is due at once
  EXPECT_EQ(renderWithBirths(4096), ORV_INVALID_CALLBACK);
  ExpectNextFrameRight();
}

TEST_F(Limits, ExpansionAndCurveSize) {
  FakeHost& host = Host();
  for (const auto& [id, largest] : {std::pair{kExpansion, 8000.0}, {kCurveSize, 8.0}}) {
    Apply(host, {Shape::kPolygon, false, true, false});
    host.SetFixed(id, largest);
    EXPECT_EQ(host.RenderTick(1), 0);
    host.SetFixed(id, largest + 0.01);
    EXPECT_EQ(host.RenderTick(1), ORV_INVALID_CALLBACK);
  }
  ExpectNextFrameRight();
}

TEST_F(Limits, PointsOfOneMask) {
  FakeHost& host = Host();
  // There and back, a point a pixel.
  host.masks[0] = {{{0, 0}, {9e6, 0}}};
  const std::uint64_t bytes = 2 * 8999999 * sizeof(PicturePoint);
  ASSERT_GT(bytes, 16777216 * sizeof(PicturePoint));
  EXPECT_EQ(host.RenderTick(4), ORV_OUT_OF_MEMORY);
  EXPECT_NE(std::string(host.out.message).find("(unable to allocate " + std::to_string(bytes) + " bytes)"),
            std::string::npos)
      << host.out.message;
  ExpectNextFrameRight();
}

TEST_F(Limits, LengthOfOneSegmentOfAMask) {
  FakeHost& host = Host();
  host.masks[0] = {{{0, 0}, {1.1e7, 0}}};
  host.ResetCalls();
  EXPECT_EQ(host.RenderTick(4), ORV_INVALID_CALLBACK);
  EXPECT_EQ(host.Calls(Callback::kPointAtLength), 0);
  EXPECT_STREQ(host.out.message, "");
  ExpectNextFrameRight();
}

}  // namespace
}  // namespace orvandel::test
