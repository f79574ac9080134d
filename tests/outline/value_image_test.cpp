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

namespace orvandel {
namespace {

using test::Callback;
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

TEST(Extraction, ColoursAreMultipliedByAlphaAndRounded) {
  for (int a = 0; a < 256; ++a) {
    for (int c = 0; c < 256; ++c) {
      // To the nearest, but a rest of 127 goes up in the lower half.
      const int rounded = (c * a + (c * a / 255 < 128 ? 128 : 127)) / 255;
      ASSERT_EQ(Extracted(kRed, false, a, c, 9, 9), rounded * 256) << c << " x " << a;
    }
  }
}

// Independent of the formulas: hue from the geometry of the colour circle, the rest from what the channels mean.
TEST(Extraction, ChannelsOfOpaquePixelsMeanWhatTheySay) {
  std::mt19937 random(60);
  const auto byte = [&] { return static_cast<int>(random() & 255); };
  for (int round = 0; round < 20000; ++round) {
    const int r = byte(), g = byte(), b = round % 5 == 0 ? g : byte();
    const int high = std::max({r, g, b}), low = std::min({r, g, b});
    const auto read = [&](std::uint32_t channel) { return Extracted(channel, false, 255, r, g, b); };
    EXPECT_EQ(read(kIntensity), static_cast<int>((r + g + b) * 256.0 / 3));
    EXPECT_EQ(read(kGreen), g * 256);
    EXPECT_EQ(read(kBlue), b * 256);
    EXPECT_EQ(read(kAlpha), 65280);
    EXPECT_EQ(read(kValue), high * 256);
    EXPECT_EQ(read(kLightness), (high + low) * 128);
    const double lightness = (high + low) / 510.0;
    const double saturation = high == low ? 0 : (high - low) / 255.0 / (1 - std::abs(2 * lightness - 1));
    const auto expectFloor = [&](int value, double exact) {
      EXPECT_TRUE(value <= exact + 1e-6 && value > exact - 1 - 1e-6) << value << " for " << r << "," << g << "," << b;
    };
    expectFloor(read(kSaturation), saturation * 32767);
    if (high == low) {
      EXPECT_EQ(read(kHue), 65535);
    } else {
      const int third = high == r ? 0 : high == g ? 120 : 240;
      const int ahead = high == r ? g - b : high == g ? b - r : r - g;
      const double degrees = std::fmod(third + 60.0 * ahead / (high - low) + 360, 360);
      expectFloor(read(kHue), degrees * 32767 / 360);
    }
  }
  EXPECT_EQ(Extracted(kHue, false, 255, 255, 0, 0), 0);
  EXPECT_EQ(Extracted(kHue, false, 255, 0, 255, 0), 10922);
  EXPECT_EQ(Extracted(kHue, false, 255, 0, 0, 255), 21844);
  EXPECT_EQ(Extracted(kSaturation, false, 255, 0, 0, 255), 32767);
}

TEST(Extraction, InvertTurnsTheMultipliedColours) {
  std::mt19937 random(61);
  const auto byte = [&] { return static_cast<int>(random() & 255); };
  for (int round = 0; round < 2000; ++round) {
    const int a = byte(), r = byte(), g = byte(), b = byte();
    // The multiplied colours as an opaque pixel, turned by hand.
    const auto turned = [&](int c) { return 255 - Extracted(kRed, false, a, c, 0, 0) / 256; };
    for (const std::uint32_t channel : {kIntensity, kRed, kGreen, kBlue, kHue, kLightness, kSaturation, kValue}) {
      EXPECT_EQ(Extracted(channel, true, a, r, g, b), Extracted(channel, false, 255, turned(r), turned(g), turned(b)));
    }
    EXPECT_EQ(Extracted(kAlpha, true, a, r, g, b), (255 - a) * 256);
  }
}

TEST(Extraction, OutsideTheSourceIsZero) {
  FencedImage source(3, 2, 255), values(5, 4, 0xAB);
  ContourJob job;
  job.source = ViewOf(source);
  job.valueImage = ViewOf(values);
  ExtractValueChannel(job);
  for (std::int32_t y = 0; y < 4; ++y) {
    for (std::int32_t x = 0; x < 5; ++x) EXPECT_EQ(HalfAt(job.valueImage, x, y, 0), x < 3 && y < 2 ? 65280 : 0);
  }
  EXPECT_TRUE(values.FencesIntact());
  for (const std::uint32_t channel : {0U, 10U, ~0U}) EXPECT_EQ(Extracted(channel, true, 255, 1, 2, 3), 0);
}

TEST(ValueImage, UsesTheOutputWhereverTheSourceFits) {
  FencedImage output(8, 6);
  EffectContext context;
  context.outputView = ViewOf(output);
  ImageBuffer source = context.outputView;
  const std::pair<std::int32_t, std::int32_t> sizes[] = {{8, 6}, {1, 1}, {9, 1}, {1, 7}, {90, 70}};
  for (const auto& [width, height] : sizes) {
    source.width = width;
    source.height = height;
    const ValueImage values = PrepareValueImage(source, context);
    const bool fits = width <= 8 && height <= 6;
    EXPECT_EQ(values.view.data, fits ? context.outputView.data : values.storage.data());
    EXPECT_EQ(values.view.width, fits ? 8 : width);
    EXPECT_EQ(values.view.height, fits ? 6 : height);
    EXPECT_EQ(values.view.rowBytes, fits ? context.outputView.rowBytes : 4 * width);
    EXPECT_EQ(values.storage.size(), fits ? 0 : static_cast<std::size_t>(width * height * 4));
  }
  source.width = source.height = 2000000000;
  EXPECT_THROW(PrepareValueImage(source, context), AllocFailed);
  context.outputView.data = nullptr;
  EXPECT_EQ(PrepareValueImage(ImageBuffer{}, context).view.width, 0) << "sizes of nothing";
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

TEST(Blur, KernelsAreEvenFallingAndNeverAboveOne) {
  EXPECT_EQ(FullKernel(1).size(), 5U);
  EXPECT_EQ(FullKernel(5).size(), 21U);
  for (double radius = 1.0 / 64; radius < 60; radius += 1.0 / 64) {
    const Samples full = FullKernel(radius), trimmed = BlurKernelFor(radius);
    double sum = 0, squares = 0;
    for (std::size_t i = 0; i < full.size(); ++i) {
      EXPECT_EQ(full[i], full[full.size() - 1 - i]);
      if (i > 0 && i <= full.size() / 2) {
        EXPECT_LE(full[i - 1], full[i]);
      }
      const double d = static_cast<double>(i) - static_cast<double>(full.size() / 2);
      sum += full[i];
      squares += full[i] * d * d;
    }
    EXPECT_LE(sum, 1024);
    EXPECT_GT(sum, 1024 - static_cast<double>(full.size()));
    if (radius > 3 && radius < 8) {
      EXPECT_NEAR(std::sqrt(squares / sum), radius / std::sqrt(8), 0.01 * radius);
    }
    ASSERT_LE(trimmed.size(), full.size());
    const std::size_t cut = (full.size() - trimmed.size()) / 2;
    EXPECT_TRUE(std::equal(trimmed.begin(), trimmed.end(), full.begin() + static_cast<std::ptrdiff_t>(cut)));
    for (std::size_t i = 0; i < cut; ++i) EXPECT_EQ(full[i], 0);
  }
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

TEST(Blur, AsksOnceARowAndOnceAColumn) {
  constexpr std::int32_t kWidth = 140, kHeight = 50;
  test::HostWithWave frame(1, 1);
  test::FakeHost& host = frame.host;
  test::OpenCall call(host);
  std::mt19937 random(63);
  BlurCase blur(random, call, kWidth, kHeight);
  blur.job.preBlur = 7.3F;
  for (int stop = 0; stop <= kWidth + kHeight; ++stop) {
    call.context.aborted = 0;
    host.ResetCalls();
    host.Arm({Callback::kAbort, stop, 4711});
    const bool stops = stop < kWidth + kHeight;
    EXPECT_EQ(BlurValueImage(blur.job), stops ? 4711 : 0);
    EXPECT_EQ(host.Calls(Callback::kAbort), stops ? stop + 1 : kWidth + kHeight);
  }
  const std::vector<std::uint8_t> before = blur.values.Pixels();
  for (const float none : {0.0F, -1.0F, std::nanf("")}) {
    host.ResetCalls();
    blur.job.preBlur = none;
    EXPECT_TRUE(BlurValueImage(blur.job) == 0 && host.Calls(Callback::kAbort) == 0);
    EXPECT_EQ(blur.values.Pixels(), before);
  }
}

}  // namespace
}  // namespace orvandel
