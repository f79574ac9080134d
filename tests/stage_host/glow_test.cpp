// The halo: the fast way against plain sums, and both against the bell that they stand for.
#include "stage/render/glow.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>

#include "stage/picture/light_curve.h"

namespace orvandel::stage {
namespace {

using Plane = LightPlane;
GlowRoom kept;  // whatever was worked in it before

// One box in one direction, every sum from scratch: the slow way that decides.
Plane Boxed(const Plane& plane, std::int32_t width, std::int32_t height, const Box& box, bool down) {
  Plane result(plane.size());
  for (std::int32_t y = 0; y < height; ++y) {
    for (std::int32_t x = 0; x < width; ++x) {
      const auto at = [&](std::int32_t step) -> std::uint64_t {
        const std::int32_t px = down ? x : x + step, py = down ? y + step : y;
        if (px < 0 || px >= width || py < 0 || py >= height) return 0;
        return plane[static_cast<std::size_t>(py * width + px)];
      };
      std::uint64_t sum = 0;
      for (std::int32_t step = -box.reach; step <= box.reach; ++step) sum += at(step);
      sum = sum * kBoxShares + (at(-box.reach - 1) + at(box.reach + 1)) * static_cast<std::uint64_t>(box.ends);
      result[static_cast<std::size_t>(y * width + x)] =
          static_cast<std::uint32_t>(static_cast<double>(sum) * (1.0 / static_cast<double>(box.Weight())) + 0.5);
    }
  }
  return result;
}

TEST(Spread, IsTheSumsFromScratch) {
  std::mt19937 random(21);
  for (int round = 0; round < 60; ++round) {
    const auto width = static_cast<std::int32_t>(1 + random() % 40),
               height = static_cast<std::int32_t>(1 + random() % 40);
    Plane plane(static_cast<std::size_t>(width * height));
    for (std::uint32_t& light : plane)
      light = random() % 3 == 0 ? static_cast<std::uint32_t>(random() % (kFullLight + 1)) : 0;
    const Box box = BoxOf(static_cast<double>(random() % 3000) / 100);
    Plane slow = plane, result;
    for (int i = 0; i < 3; ++i) slow = Boxed(Boxed(slow, width, height, box, true), width, height, box, false);
    Spread(plane, result, width, height, box);
    if (box.reach + box.ends > 0) {
      ASSERT_EQ(result, slow) << width << " x " << height << ", reach " << box.reach << ", ends " << box.ends;
    }
  }
}

// A single bright point becomes a bell of the deviation asked for, and no light is lost.
TEST(Spread, IsNearlyTheBell) {
  constexpr std::int32_t kSide = 121, kMiddle = 60;
  for (const double deviation : {0.3, 0.7, 1.0, 2.5, 4.0, 9.3, 15.0}) {
    Plane plane(kSide * kSide);
    plane[kMiddle * kSide + kMiddle] = kFullLight;
    Spread(plane, plane, kSide, kSide, BoxOf(deviation));
    double sum = 0, variance = 0;
    for (std::int32_t y = 0; y < kSide; ++y) {
      for (std::int32_t x = 0; x < kSide; ++x) {
        const double light = plane[static_cast<std::size_t>(y * kSide + x)];
        sum += light;
        variance += light * (x - kMiddle) * (x - kMiddle);
      }
    }
    EXPECT_NEAR(sum / kFullLight, 1, 0.001) << deviation;
    EXPECT_NEAR(std::sqrt(variance / sum), deviation, 0.01 + deviation * 0.005);
    const double peak = 1 / (2 * std::numbers::pi * deviation * deviation);
    if (deviation >= 1) {
      EXPECT_NEAR(plane[kMiddle * kSide + kMiddle] / double{kFullLight} / peak, 1, 0.13)
          << "three boxes are a little flatter";
    }
  }
}

// What is seen over black is the picture's own light and the halo's, in both ways of laying pictures over one another.
TEST(Glow, AddsLightOverBlack) {
  std::mt19937 random(22);
  const LightCurve& curve = LightCurve::The();
  constexpr std::int32_t kWidth = 33, kHeight = 21;
  for (int round = 0; round < 20; ++round) {
    const bool linear = round % 2 == 0;
    Picture16 picture(kWidth, kHeight);
    for (std::size_t i = 0; i < picture.words.size(); i += 4) {
      if (random() % 8 != 0) continue;
      for (std::size_t c = 0; c < 4; ++c) picture.words[i + c] = static_cast<std::uint16_t>(random());
    }
    const Glow glow{static_cast<double>(random() % 40), static_cast<double>(random() % 300) / 100,
                    static_cast<double>(random() % 3) / 4};
    const double scale = random() % 2 == 0 ? 1 : 0.5;
    const Picture16 result = WithGlow(picture, glow, scale, linear, kept);
    const auto shown = [&](const Picture16& of, std::size_t i, std::size_t c) {  // light, 0..1
      const double alpha = of.words[4 * i] / 65535.0;
      if (linear) return curve.Light(of.words[4 * i + c]) / double{kFullLight} * alpha;
      return curve.Light(static_cast<std::uint16_t>(std::lround(of.words[4 * i + c] * alpha))) / double{kFullLight};
    };
    std::array<Plane, 3> narrow, wide;
    for (std::size_t i = 0; i < kWidth * kHeight; ++i) {
      std::array<double, 3> light{};
      for (std::size_t c = 0; c < 3; ++c) light[c] = shown(picture, i, c + 1);
      const double most = *std::max_element(light.begin(), light.end());
      const double limit =
          curve.Light(static_cast<std::uint16_t>(std::lround(glow.threshold * 65535))) / double{kFullLight};
      for (std::size_t c = 0; c < 3; ++c) {
        const double bright = most > limit ? light[c] * (most - limit) / most : 0;
        narrow[c].push_back(static_cast<std::uint32_t>(bright * kFullLight + 0.5));
      }
    }
    wide = narrow;
    for (std::size_t c = 0; c < 3; ++c) {
      Spread(narrow[c], narrow[c], kWidth, kHeight, BoxOf(glow.radius * scale / 8));
      Spread(wide[c], wide[c], kWidth, kHeight, BoxOf(glow.radius * scale / 2));
      for (std::size_t i = 0; i < kWidth * kHeight; ++i) {
        const double halo = (narrow[c][i] + wide[c][i]) / 2.0 / kFullLight * glow.strength;
        const double expected = std::min(1.0, shown(picture, i, c + 1) + halo);
        ASSERT_NEAR(shown(result, i, c + 1), expected, 1e-4) << "linear " << linear << ", pixel " << i;
        ASSERT_GE(result.words[4 * i], picture.words[4 * i]) << "nothing becomes more transparent";
      }
    }
  }
}

}  // namespace
}  // namespace orvandel::stage
