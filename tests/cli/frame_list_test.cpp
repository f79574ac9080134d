#include "cli/frame_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "stage/base/errors.h"
#include "tests/support/error_of.h"

namespace orvandel::cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string ErrorOf(const std::string& text, std::int32_t frameCount) {
  return test::ErrorOf<stage::InputError>([&] { ParseFrameList(text, frameCount); });
}

TEST(FrameList, KeepsTheOrderGiven) {
  EXPECT_THAT(ParseFrameList("7,0-2, 20-30x5 ,7", 31), ElementsAre(7, 0, 1, 2, 20, 25, 30, 7));
  EXPECT_THAT(ParseFrameList("7 0..2\t20..30x5 , 7", 31), ElementsAre(7, 0, 1, 2, 20, 25, 30, 7));
  EXPECT_THAT(WithoutRepeats({7, 0, 7, 1, 0}), ElementsAre(7, 0, 1));
  EXPECT_THAT(ParseFrameList("0-2147483646x2147483646", 2147483647), ElementsAre(0, 2147483646));
}

TEST(FrameList, RefusesWithWhatIsAllowed) {
  for (const char* outside : {"10", "0,10", "5-10", "0-99x7", "4294967296", "99999999999999999999"}) {
    EXPECT_THAT(ErrorOf(outside, 10), HasSubstr("0..9")) << outside;
  }
  for (const char* negative : {"-1", "3,-4", "-8--5"}) {
    EXPECT_THAT(ErrorOf(negative, 10), HasSubstr("negative; the scene has frames 0..9")) << negative;
  }
  for (const char* malformed : {"", ",", "1,", "1,,2", "a", "1-", "1-2x", "1x2", "1-2-3", "1.5", "+1", "1--2"}) {
    EXPECT_THAT(ErrorOf(malformed, 10), HasSubstr("N, A-B or A-BxS")) << malformed;
  }
  EXPECT_THAT(ErrorOf("5-3", 10), HasSubstr("backwards"));
  EXPECT_THAT(ErrorOf("1-3x0", 10), HasSubstr("step of 0"));
}

// The first frame of the second part is the first whose time is not before the cut.
TEST(FrameList, PartsCutAtAnyTimeMakeTheWhole) {
  std::mt19937 random(4);
  for (const stage::Rational rate : {stage::Rational{25, 1}, stage::Rational{30000, 1001}, stage::Rational{1, 7}}) {
    stage::Timebase time = stage::TimebaseOfRate(rate);
    stage::SetDuration(time, {42, 1});
    for (int round = 0; round < 300; ++round) {
      const std::int64_t under = random() % 40 + 1, over = static_cast<std::int64_t>(random()) % (42 * under);
      const std::string cut = std::to_string(over) + "/" + std::to_string(under);
      std::vector<std::int32_t> frames;
      std::int32_t first = 0;
      while (first * rate.den * under < over * rate.num) ++first;
      if (first > 0) frames = ChosenFrames({{}, {}, cut}, time);
      ASSERT_EQ(frames.size(), static_cast<std::size_t>(first)) << cut;
      if (first == time.frameCount) continue;
      const auto rest = ChosenFrames({{}, cut, {}}, time);
      frames.insert(frames.end(), rest.begin(), rest.end());
      ASSERT_EQ(frames, AllFrames(time.frameCount)) << cut;
    }
  }
}

// Whatever is typed, the answer is a refusal or frames of the scene.
TEST(FrameList, AnyTextIsRefusedOrInRange) {
  const std::string alphabet = "0123456789-x., ";
  std::mt19937 random(20);
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    for (std::size_t left = random() % 9; left > 0; --left) text += alphabet[random() % alphabet.size()];
    const auto frameCount = static_cast<std::int32_t>(random() % 60 + 1);
    try {
      for (const std::int32_t frame : ParseFrameList(text, frameCount)) {
        ASSERT_TRUE(frame >= 0 && frame < frameCount) << "'" << text << "' gave " << frame;
      }
    } catch (const stage::InputError&) {
    }
  }
}

}  // namespace
}  // namespace orvandel::cli
