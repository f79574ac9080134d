#include "stage/scene/sequence_name.h"

#include <gtest/gtest.h>

#include <string>

namespace orvandel::stage {
namespace {

TEST(SequenceName, NumbersAreThoseTheFormatWouldWrite) {
  const auto name = ParseSequenceName("a%02d/take %3 of 100%-%03d.png");
  ASSERT_TRUE(name);
  EXPECT_EQ(name->folder, "a%02d");
  for (const std::int64_t number : {0, 7, 99, 100, 999, 1000, 123456789}) {
    EXPECT_EQ(name->NumberOf(name->FileOf(number).filename().string()), number);
  }
  for (const char* other :
       {"take %3 of 100%-07.png", "take %3 of 100%-0007.png", "take %3 of 100%--07.png", "take %3 of 100%-.png",
        "take %3 of 100%-007.PNG", "take %3 of 100%-1234567890123456789.png"}) {
    EXPECT_FALSE(name->NumberOf(other)) << other;
  }
  EXPECT_EQ(ParseSequenceName("%d")->FileOf(12), "12");
  for (const char* plain : {"a%04d/b.png", "100%.png", "x%04i.png", "x%4d.png", "x%00d.png", "x%"}) {
    EXPECT_FALSE(ParseSequenceName(plain)) << plain;
  }
}

}  // namespace
}  // namespace orvandel::stage
