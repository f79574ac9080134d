// Any frame in any order gives the same bytes: random walks over frames at many rates against fresh renders.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "effect/params/param_ids.h"
#include "tests/sim/sequence_probe.h"

namespace orvandel::test {
namespace {

void Animate(FakeHost& host, bool eachFrame) {
  host.SetWord(kSetAt, eachFrame ? 2 : 1);
  host.SetWord(kSides, 5);
  host.SetFixed(kFrequency, 11);
  host.SetFixed(kLifespan, 1.25);
  host.SetFixed(kCurveSize, 0.5);
  host.SetFixed(kSpin, 50);
  host.SetWord(kRenderQuality, 2);
  host.SetValue(kProducerPoint, [](std::int32_t time, OrvParamDef& d) {
    d.value.point.x = 65536 * 20 + time * 30;
    d.value.point.y = 65536 * 20 + time * 7;
  });
  host.SetValue(kExpansion,
                [](std::int32_t time, OrvParamDef& d) { d.value.fixed.value = 65536 / 2 + (time / 4000) * 9000; });
}

TEST(FrameOrder, ShuffledFramesEqualFreshOnes) {
  std::mt19937 random(20);
  for (const double framesPerSecond : {23.976, 25.0, 29.97, 30.0, 50.0, 60.0, 120.0}) {
    for (const bool eachFrame : {false, true}) {
      std::map<std::int32_t, std::vector<std::uint8_t>> fresh;
      FakeHost walker(32, 24);
      ASSERT_EQ(walker.SetUp(), 0);
      Animate(walker, eachFrame);
      for (int i = 0; i < 60; ++i) {
        const auto frame = static_cast<std::int32_t>(random() % 40);
        const auto time = static_cast<std::int32_t>(frame * walker.timeScale / framesPerSecond);
        ASSERT_EQ(walker.Render(time), 0);
        const auto picture = walker.Picture();
        if (!fresh.contains(frame)) fresh[frame] = walker.FreshPicture(time);
        ASSERT_EQ(picture, fresh[frame]) << framesPerSecond << " fps, frame " << frame << ", step " << i;
      }
      walker.SetDown();
    }
  }
}

// A host may render on and on without showing anything: waves must not pile up.
TEST(FrameOrder, FramesWithoutPixelsEndTheSameLives) {
  std::vector<float> ages[2];
  for (const bool drawn : {false, true}) {
    FakeHost host(32, 24);
    ASSERT_EQ(host.SetUp(), 0);
    Animate(host, false);
    if (!drawn) host.lentOutput = OrvImage{};
    for (int tick = 1; tick < 90; ++tick) ASSERT_EQ(host.RenderTick(tick), 0);
    ages[drawn ? 1 : 0] = Ages(host);
    host.SetDown();
  }
  EXPECT_EQ(ages[0], ages[1]);
}

}  // namespace
}  // namespace orvandel::test
