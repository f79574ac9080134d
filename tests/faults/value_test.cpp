// Values: random ones in range, all ends of ranges and their pairs, and far outside what the contract allows. Each
// gives a picture or a code within the limits below on memory and on the work between two polls of the host. How long a
// picture takes is for the host to decide: it can stop the work at any poll, and here it does.
//
// A failure names its seed; seeds.h says how to replay it.
#include <gtest/gtest.h>

#include "tests/faults/wild.h"
#include "tests/support/seeds.h"

namespace orvandel::test {
namespace {

// A picture that comes out must come out again on a new sequence, and from another frame.
void ExpectRepeatable(ValueHost& host, std::int32_t before, std::int32_t time) {
  if (host.RenderAnew(time) != 0) return;
  const auto picture = host.Picture();
  if (host.RenderAnew(before) != 0 || host.RenderOn(time) != 0) return;
  EXPECT_TRUE(picture == host.Picture());
}

TEST(Values, RandomInRange) {
  ValueHost host;
  const std::int64_t renders = ForEachSeed(5000, [&](std::uint32_t seed) {
    Dice dice(seed);
    host.TameAll();
    for (const Range& range : host.Ranges()) {
      if (dice(3) == 0) host.SetWords(range, WordInRange(dice, range), WordInRange(dice, range));
    }
    host.sourceLayer = static_cast<std::int32_t>(dice(3));
    host.in.quality = static_cast<std::int32_t>(dice(2));
    host.in.downsampleX = host.in.downsampleY = {1, 1 + dice(3)};
    host.in.pixelAspect = {1 + static_cast<std::int32_t>(dice(3)), 1 + dice(3)};
    host.passParamsToRender = dice(2) == 0;
    // Each Frame and a life that ends between the two frames depend on what was drawn: the later frame goes alone.
    const auto time = static_cast<std::int32_t>(dice(12) * 1000 + dice(3) * 250);
    ExpectRepeatable(host, time, time);
  });
  EXPECT_TRUE(renders < 100 || host.Pictures() > renders / 2) << host.Pictures();
  RecordProperty("pictures", host.Pictures());
}

TEST(Values, EndsOfRangesAndTheirPairs) {
  ValueHost host;
  for (const Range& a : host.Ranges()) {
    for (const Range& b : host.Ranges()) {
      for (int ends = 0; ends < 4 && !HasFailure(); ++ends) {
        SCOPED_TRACE(testing::Message() << "parameters " << a.id << " and " << b.id << ", ends " << ends);
        host.TameAll();
        host.SetWords(a, (ends & 1) != 0 ? a.high : a.low, a.high);
        host.SetWords(b, (ends & 2) != 0 ? b.high : b.low, b.low);
        ExpectRepeatable(host, 3500, 3500);
      }
    }
  }
  RecordProperty("pictures", host.Pictures());
}

TEST(Values, FarOutside) {
  ValueHost host;
  ForEachSeed(5000, [&](std::uint32_t seed) {
    Dice dice(seed);
    host.TameAll();
    host.GoWild(dice);
    host.RenderAnew(host.WildTime(dice));
    host.RenderOn(static_cast<std::int32_t>(dice(9000)));
    host.TameAll();
  });
  RecordProperty("pictures", host.Pictures());
}

}  // namespace
}  // namespace orvandel::test
