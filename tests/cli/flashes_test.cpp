#include "cli/check/flashes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

namespace orvandel::cli {
namespace {

constexpr std::int32_t kWidth = 64, kHeight = 36;
constexpr int kRate = 60;

// A square wave of so many flashes a second, of this brightness, over a part of the picture's width and height; the
// rest is black.
stage::Picture Flicker(double perSecond, int frame, std::uint8_t bright, std::uint8_t dark, double part) {
  stage::Picture picture(kWidth, kHeight);
  const bool on = std::fmod(frame * perSecond / kRate, 1.0) < 0.5;
  for (std::int32_t i = 0; i < kWidth * kHeight; ++i) {
    std::uint8_t* pixel = &picture.bytes[static_cast<std::size_t>(i) * 4];
    pixel[0] = 255;
    if (i % kWidth < part * kWidth && i / kWidth < part * kHeight) pixel[1] = pixel[2] = pixel[3] = on ? bright : dark;
  }
  return picture;
}

FlashCounter Watch(double perSecond, std::uint8_t bright = 255, std::uint8_t dark = 0, double part = 1) {
  FlashCounter flashes(kRate);
  for (int frame = 0; frame < 3 * kRate; ++frame) flashes.Add(Flicker(perSecond, frame, bright, dark, part));
  return flashes;
}

TEST(Flashes, MoreThanThreeASecondAreTooMany) {
  for (const double perSecond : {0.0, 0.5, 1.0, 2.0, 3.0}) EXPECT_FALSE(Watch(perSecond).TooMany()) << perSecond;
  for (const double perSecond : {4.0, 5.0, 10.0, 20.0, 29.0}) EXPECT_TRUE(Watch(perSecond).TooMany()) << perSecond;
}

// A change of 0.1 in luminance is from 0 to a stored value of 89; above 0.8 (from 231 on) nothing counts.
TEST(Flashes, SmallOrBrightChangesAreNone) {
  EXPECT_FALSE(Watch(10, 85).TooMany());
  EXPECT_TRUE(Watch(10, 95).TooMany());
  EXPECT_FALSE(Watch(10, 255, 233).TooMany());
}

TEST(Flashes, SmallAreasAreHarmless) {
  EXPECT_FALSE(Watch(10, 255, 0, 0.1).TooMany());
  EXPECT_TRUE(Watch(10, 255, 0, 0.3).TooMany());
  EXPECT_NEAR(Watch(10, 255, 0, 0.5).WorstArea(), 0.25, 0.02);
}

// A slow fade has two changes, however many frames it takes.
TEST(Flashes, RisingLightIsOneChange) {
  FlashCounter flashes(kRate);
  for (int frame = 0; frame < kRate; ++frame) {
    flashes.Add(Flicker(0, 0, static_cast<std::uint8_t>(frame * 255 / kRate), 0, 1));
  }
  EXPECT_EQ(flashes.WorstArea(), 0);
}

}  // namespace
}  // namespace orvandel::cli
