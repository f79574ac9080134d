#include "effect/outline/value_image.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "effect/base/errors.h"
#include "effect/base/float_rules.h"
#include "effect/outline/blur.h"
#include "open_call.h"
#include "tests/support/dice.h"

namespace orvandel {
namespace {

using test::Dice;
using test::FencedImage;
using Samples = HeapVector<std::uint16_t>;

ImageBuffer ViewOf(FencedImage& image) { return ImageBuffer::FromHost(image.View()); }

std::uint16_t HalfAt(const ImageBuffer& image, std::int32_t x, std::int32_t y, int half) {
  std::uint16_t value;
  std::memcpy(&value, image.Row(y) + 4 * x + 2 * half, sizeof value);
  return value;
}

int Extracted(std::uint32_t channel, bool invert, int a, int r, int g, int b) {
  FencedImage source(1, 1), values(1, 1);
  const int bytes[] = {a, r, g, b};
  std::transform(bytes, bytes + 4, source.Pixel(0, 0), [](int byte) { return static_cast<std::uint8_t>(byte); });
  ContourJob job;
  job.valueChannel = channel;
  job.invertInput = invert;
  job.source = ViewOf(source);
  job.valueImage = ViewOf(values);
  ExtractValueChannel(job);
  EXPECT_EQ(HalfAt(job.valueImage, 0, 0, 0), HalfAt(job.valueImage, 0, 0, 1));
  return HalfAt(job.valueImage, 0, 0, 0);
}

// Independent of the formulas: hue from the geometry of the colour circle, the rest from what the channels mean. Hue
// and saturation are the floor of a fraction that is not exact here.
void ExpectChannels(bool invert, int a, int red, int green, int blue) {
  const auto colour = [&](int c) {
    // To the nearest, but a rest of 127 goes up in the lower half.
    const int multiplied = (c * a + (c * a / 255 < 128 ? 128 : 127)) / 255;
    return invert ? 255 - multiplied : multiplied;
  };
  const int r = colour(red), g = colour(green), b = colour(blue), high = std::max({r, g, b}), low = std::min({r, g, b});
  const auto read = [&](std::uint32_t channel) { return Extracted(channel, invert, a, red, green, blue); };
  const std::pair<std::uint32_t, int> exact[] = {{kIntensity, (r + g + b) * 256 / 3},
                                                 {kRed, r * 256},
                                                 {kGreen, g * 256},
                                                 {kBlue, b * 256},
                                                 {kAlpha, (invert ? 255 - a : a) * 256},
                                                 {kValue, high * 256},
                                                 {kLightness, (high + low) * 128}};
  for (const auto& [channel, value] : exact) ASSERT_EQ(read(channel), value) << channel;
  const auto expectFloor = [](int value, double fraction) {
    EXPECT_TRUE(value <= fraction + 1e-6 && value > fraction - 1 - 1e-6) << value << " for " << fraction;
  };
  const double lightness = (high + low) / 510.0;
  expectFloor(read(kSaturation), high == low ? 0 : (high - low) / 255.0 / (1 - std::abs(2 * lightness - 1)) * 32767);
  const int third = high == r ? 0 : high == g ? 120 : 240;
  const int ahead = high == r ? g - b : high == g ? b - r : r - g;
  const double degrees = std::fmod(third + 60.0 * ahead / std::max(high - low, 1) + 360, 360);
  expectFloor(read(kHue), high == low ? 65535 : degrees * 32767 / 360);
}

TEST(Extraction, ChannelsMeanWhatTheySay) {
  Dice dice(60);
  const auto byte = [&] { return dice.Whole(0, 255); };
  for (int round = 0; round < 20000; ++round) {
    const int a = dice.OneIn(2) ? 255 : byte(), green = byte();
    SCOPED_TRACE(round);
    ExpectChannels(dice.OneIn(3), a, byte(), green, dice.OneIn(5) ? green : byte());
    if (testing::Test::HasFailure()) return;
  }
  for (int a = 0; a < 256; ++a) {
    for (int c = 0; c < 256; ++c) ExpectChannels(false, a, c, c, c);
  }
  for (const auto& [pixel, hue] : {std::pair(0xFF0000, 0), {0x00FF00, 10922}, {0x0000FF, 21844}}) {
    EXPECT_EQ(Extracted(kHue, false, 255, pixel >> 16, pixel >> 8 & 255, pixel & 255), hue);
  }
  for (const std::uint32_t channel : {0U, 10U, ~0U}) EXPECT_EQ(Extracted(channel, true, 255, 1, 2, 3), 0);
}

TEST(ValueImage, IsTheOutputWhereverTheSourceFits) {
  FencedImage output(8, 6);
  EffectContext context;
  context.outputView = ViewOf(output);
  ImageBuffer source = context.outputView;
  for (const auto& [width, height] : {std::pair(8, 6), {9, 1}, {1, 7}, {90, 70}}) {
    source.width = width;
    source.height = height;
    const bool fits = width <= 8 && height <= 6;
    EXPECT_EQ(PrepareValueImage(source, context).view.data == context.outputView.data, fits);
  }
  source.width = source.height = 2000000000;
  EXPECT_THROW(PrepareValueImage(source, context), AllocFailed);
}

// ---- Blur ----

Samples ConvolvedPlainly(const Samples& line, const Samples& kernel) {
  const int length = static_cast<int>(line.size()), reach = static_cast<int>(kernel.size() / 2);
  Samples result;
  for (int j = 0; j < length; ++j) {
    std::uint32_t sum = 0;
    for (int m = 0; m < static_cast<int>(kernel.size()); ++m) {
      const int i = j - reach + m;
      if (i >= 0 && i < length) sum += static_cast<std::uint32_t>(kernel[m]) * line[i];
    }
    result.push_back(static_cast<std::uint16_t>(sum >> 10));
  }
  return result;
}

Samples FullKernel(double radius) {
  return MakeBlurKernel(radius, 2 * static_cast<std::int64_t>(std::ceil(2 * radius)) + 1);
}

TEST(Blur, RadiiBeyondSenseBlurEverythingAway) {
  for (const double radius : {0.0, std::nan(""), -3.0, 1e300, HUGE_VAL, -HUGE_VAL}) {
    EXPECT_EQ(BlurKernelFor(radius), (Samples{0})) << radius;
  }
  EXPECT_EQ(BlurKernelFor(2047), BlurKernelFor(2049));  // either side of the shortcut
}

// The blurred values of an image, row by row: rows one by one, then columns one by one.
Samples BlurredPlainly(const ImageBuffer& image, double radiusX, double radiusY) {
  const std::size_t width = static_cast<std::size_t>(image.width), height = static_cast<std::size_t>(image.height);
  std::vector<Samples> columns(width);
  for (std::int32_t y = 0; y < image.height; ++y) {
    Samples row;
    for (std::int32_t x = 0; x < image.width; ++x) row.push_back(HalfAt(image, x, y, 0));
    row = ConvolvedPlainly(row, FullKernel(radiusX));
    for (std::size_t x = 0; x < width; ++x) columns[x].push_back(row[x]);
  }
  Samples blurred(width * height);
  for (std::size_t x = 0; x < width; ++x) {
    const Samples column = ConvolvedPlainly(columns[x], FullKernel(radiusY));
    for (std::size_t y = 0; y < height; ++y) blurred[y * width + x] = column[y];
  }
  return blurred;
}

// A picture of random alphas, many of them the largest, extracted into a value image around it.
struct BlurCase {
  BlurCase(std::mt19937& random, test::OpenCall& call, std::int32_t width, std::int32_t height)
      : source(width, height), values(width, height, 0xAB) {
    for (std::int32_t y = 0; y < height; ++y) {
      for (std::int32_t x = 0; x < width; ++x) {
        source.Pixel(x, y)[0] = static_cast<std::uint8_t>(random() % 3 == 0 ? 255 : random());
      }
    }
    job.source = ViewOf(source);
    job.valueImage = ViewOf(values);
    job.context = &call.context;
    ExtractValueChannel(job);
  }
  FencedImage source, values;
  ContourJob job;
};

TEST(Blur, EqualsRowsThenColumnsOneByOne) {
  test::HostWithWave frame(1, 1);
  std::mt19937 random(62);
  const OrvRatio scales[] = {{1, 1}, {1, 1}, {1, 3}, {7, 2}};
  for (int round = 0; round < 160; ++round) {
    frame.host.in.downsampleY = scales[random() % 4];
    test::OpenCall call(frame.host);
    const std::int32_t width = 1 + static_cast<std::int32_t>(random() % (round % 3 == 0 ? 9 : 200));
    const std::int32_t height = 1 + static_cast<std::int32_t>(random() % (round % 3 == 1 ? 9 : 120));
    BlurCase blur(random, call, width, height);
    blur.job.preBlur = static_cast<float>(1 + random() % 5000) / 100;
    const double radius = static_cast<double>(blur.job.preBlur);
    const Samples expected =
        BlurredPlainly(blur.job.valueImage, radius, RatioValue(frame.host.in.downsampleY) * radius);
    ASSERT_EQ(BlurValueImage(blur.job, round % 2 == 0), 0);
    for (std::int32_t i = 0; i < width * height; ++i) {
      ASSERT_EQ(HalfAt(blur.job.valueImage, i % width, i / width, 0), expected[static_cast<std::size_t>(i)])
          << width << "x" << height << " radius " << radius << " at " << i % width << "," << i / width;
    }
    EXPECT_TRUE(blur.values.FencesIntact());
  }
}

}  // namespace
}  // namespace orvandel
