#include "stage/scene/timebase.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <sstream>
#include <string>

#include "stage/base/errors.h"
#include "tests/support/error_of.h"

namespace orvandel::stage {
namespace {

std::string Complaint(const std::string& rate, const std::string& seconds) {
  return test::ErrorOf<InputError>([&] { MakeTimebase(ParseRational(rate), ParseRational(seconds)); });
}

// Smallest of the time scales that the rule allows, found by trying.
std::int64_t ScaleByTrying(Rational rate) {
  const std::int64_t common = std::lcm(rate.num, std::int64_t{30});
  for (std::int64_t m = 1;; m *= 10) {
    if (common * m >= 30000) return common * m;
  }
}

TEST(Timebase, FramesAndTicksAreWholeUnitsForEveryUsableRate) {
  int usable = 0;
  for (std::int64_t den : {1, 2, 3, 7, 125, 1000, 1001}) {
    for (std::int64_t num = 1; num < 200000; num += num < 300 ? 1 : 997) {
      const Rational rate = Reduced({num, den});
      const std::int64_t scale = ScaleByTrying(rate);
      if (scale > 1000000) {
        EXPECT_THAT(Complaint(TextOf(rate), "1"), testing::HasSubstr("the nearest usable rate is \""));
        continue;
      }
      ++usable;
      const Timebase time = MakeTimebase(rate, {10, 3});
      ASSERT_EQ(time.timeScale, scale) << TextOf(rate);
      ASSERT_EQ(time.timeScale % 30, 0);
      ASSERT_EQ(std::int64_t{time.timeStep} * rate.num, std::int64_t{time.timeScale} * rate.den);
      ASSERT_EQ(time.duration, scale * 10 / 3);
      // As many frames as begin before the end.
      ASSERT_LT(std::int64_t{time.timeStep} * (time.frameCount - 1), time.duration);
      ASSERT_GE(std::int64_t{time.timeStep} * time.frameCount, time.duration);
    }
  }
  EXPECT_GT(usable, 1000);
}

TEST(Timebase, DecimalsAreExact) {
  EXPECT_EQ(ParseRational("23.976"), (Rational{2997, 125}));
  EXPECT_EQ(ParseRational("-2.50e-1"), (Rational{-1, 4}));
  EXPECT_EQ(ParseRational("1E+3"), (Rational{1000, 1}));
  EXPECT_EQ(ParseRational("0.000000000000000001"), (Rational{1, 1000000000000000000}));
  EXPECT_EQ(ParseRational("10.00000000000000000000000000"), (Rational{10, 1}));
  EXPECT_EQ(ParseRational("0e999999999999"), (Rational{0, 1}));
  EXPECT_EQ(ParseRational("60000/2002"), (Rational{30000, 1001}));
  // A double would make these one unit shorter and one frame longer.
  EXPECT_EQ(MakeTimebase({25, 1}, ParseRational("1.16")).duration, 174000);
  EXPECT_EQ(MakeTimebase({30, 1}, ParseRational("0.1")).frameCount, 3);
  std::istringstream malformed(
      "- .5 5. 1e +1 0x10 1/ /2 1/2/3 1.5/2 1/-2 1/0 inf nan 1234567890123456789 1e19 1e-19 1e999999999999");
  for (std::string bad; malformed >> bad;) EXPECT_THROW(ParseRational(bad), InputError) << bad;
  for (const char* bad : {"", "1 "}) EXPECT_THROW(ParseRational(bad), InputError) << bad;
}

TEST(Timebase, RefusalsNameARateThatWorks) {
  const struct {
    std::string rate, seconds, telling;
  } refused[] = {
      {"23.97602", "10", "\"24000/1001\""},
      {"29.97002997", "10", "\"30000/1001\""},
      {"59.94006", "1", "\"60000/1001\""},
      {"0.33333333", "1", "\"1/3\""},
      {"1000000000", "1", "\"999990\""},
      {"1/100000000", "1", "\"1/35791\""},
      {"23.976", "3582", "\"24000/1001\""},
      {"23.976", "3582", "allows 3581 s"},
      {"30", "35791", "30 frames a second allows 35790 s"},
      {"0.3", "0.00000001", "shorter than one time unit"},
  };
  for (const auto& [rate, seconds, telling] : refused) {
    const std::string complaint = Complaint(rate, seconds);
    EXPECT_THAT(complaint, testing::HasSubstr(telling)) << rate;
    const auto quote = complaint.find("is \"");
    if (quote == std::string::npos) continue;
    const std::string suggested = complaint.substr(quote + 4, complaint.rfind('"') - quote - 4);
    EXPECT_EQ(Complaint(suggested, seconds), "nothing") << suggested;
  }
  // The longest that fits: (duration + 1 s) in 2^30 units, to the unit.
  EXPECT_EQ(Complaint("30", "1073711824/30000"), "nothing");
  EXPECT_NE(Complaint("30", "1073711825/30000"), "nothing");
}

}  // namespace
}  // namespace orvandel::stage
