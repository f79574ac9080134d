// What the two codes share: the clearing and the blend.

#include "effect/render/reference/pixel_writer.h"

#include <gtest/gtest.h>

#include <cstring>

#include "stroke_case.h"

namespace orvandel {
namespace {

TEST(ClearRows, LeavesTheBytesBehindTheRows) {
  Picture picture(3, 4, 5, 0xAB);
  ClearRows(picture.View(), 0, picture.Height());
  for (std::size_t i = 0; i < picture.Bytes().size(); ++i) EXPECT_EQ(picture.Bytes()[i], i % 17 < 12 ? 0 : 0xAB) << i;
}

TEST(BlendPixel, HoldsForAllPairsOfAlphas) {
  for (std::uint32_t a = 0; a <= 255; ++a) {
    for (std::uint32_t b = 0; b <= 255; ++b) {
      const OrvPixel below{static_cast<std::uint8_t>(a), 255, 0, 77}, above{static_cast<std::uint8_t>(b), 0, 255, 77};
      OrvPixel result;
      BlendPixel(result, below, above);
      const OrvPixel& whole = a == 0 ? above : below;
      if (a == 0 || b == 0) {
        ASSERT_EQ(std::memcmp(&result, &whole, 4), 0) << a << " " << b;
        continue;
      }
      const double sum = a + b;
      ASSERT_NEAR(result.alpha, 255.0 - (255.0 - a) * (255.0 - b) / 255.0, 1.0) << a << " " << b;
      ASSERT_GE(result.alpha, std::max(a, b));
      ASSERT_NEAR(result.red, 255 * a / sum - 0.5, 0.51) << a << " " << b;
      ASSERT_NEAR(result.green, 255 * b / sum - 0.5, 0.51) << a << " " << b;
      ASSERT_TRUE(result.blue == 77 || result.blue == 76) << a << " " << b;
    }
  }
  OrvPixel pixel{128, 255, 0, 0};
  BlendPixel(pixel, pixel, {128, 0, 0, 255});
  EXPECT_EQ(pixel.alpha, 192);
  EXPECT_EQ(pixel.red, 127);
  EXPECT_EQ(pixel.blue, 127);
  pixel = {1, 255, 255, 255};
  BlendPixel(pixel, pixel, {2, 255, 255, 255});
  EXPECT_EQ(pixel.red, 254);
}

}  // namespace
}  // namespace orvandel
