// Mirror addressing, the two writers and the blend.

#include "effect/render/reference/pixel_writer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "stroke_case.h"

namespace orvandel {
namespace {

constexpr OrvPixel kRed{9, 255, 0, 0};

TEST(MirrorFold, FollowsAWalkThatTurnsAtBothEnds) {
  for (std::int64_t size = 1; size <= 7; ++size) {
    for (const int direction : {1, -1}) {
      // From column 0 to the right, or from column -1, which is column 0 seen from the other side, to the left.
      std::int64_t expected = 0, step = 1;
      for (std::int64_t i = 0; i < 100; ++i) {
        const std::int64_t coordinate = direction > 0 ? i : -1 - i;
        ASSERT_EQ(MirrorFold(coordinate, size), expected) << coordinate << " in " << size;
        if (expected + step < 0 || expected + step >= size) {
          step = -step;
        } else {
          expected += step;
        }
      }
    }
  }
}

TEST(ClearRows, LeavesTheBytesBehindTheRows) {
  Picture picture(3, 4, 5, 0xAB);
  ClearRows(picture.View(), 0, picture.Height());
  for (std::size_t i = 0; i < picture.Bytes().size(); ++i) EXPECT_EQ(picture.Bytes()[i], i % 17 < 12 ? 0 : 0xAB) << i;
}

TEST(DirectWriter, AdvancesToTheFoldedColumn) {
  std::mt19937 random(1);
  for (int walk = 0; walk < 300; ++walk) {
    const auto width = static_cast<std::int32_t>(random() % 9 + 1),
               height = static_cast<std::int32_t>(random() % 4 + 1);
    Picture picture(width, height);
    DirectWriter writer(picture.View(), kRed);
    auto column = static_cast<std::int32_t>(random() % 80) - 40;
    const auto row = static_cast<std::int32_t>(random() % 30) - 15;
    writer.StartRow(column, row);
    for (int move = 0; move < 40; ++move) {
      OrvPixel& expected = picture.At(MirrorFold(column, width), MirrorFold(row, height));
      expected = {0, 1, 1, 1};
      writer.Write(200);
      ASSERT_EQ(expected.alpha, 200) << "walk " << walk << ", column " << column << " of " << width;
      expected = {};
      const auto steps = static_cast<std::int32_t>(random() % 3 == 0 ? random() % 50 : 1);
      writer.Advance(steps);
      column += steps;
    }
  }
}

TEST(SubsampleAccumulator, AveragesSquaresOnTheirFoldedPixels) {
  std::mt19937 random(2);
  for (int run = 0; run < 200; ++run) {
    const auto quality = static_cast<std::int32_t>(random() % 15 + 2),
               width = static_cast<std::int32_t>(random() % 6 + 1);
    const auto xMin = static_cast<std::int32_t>(random() % 200) - 100,
               xMax = xMin + static_cast<std::int32_t>(random() % 99);
    const auto row = static_cast<std::int32_t>(random() % 5) - 2;  // in output pixels; the picture has one row
    Picture picture(width, 1), expected(width, 1);
    SubsampleAccumulator writer(picture.View(), xMin, xMax, kRed, quality);
    std::vector<std::int32_t> sums(400);
    for (std::int32_t y = row * quality; y < (row + 1) * quality; ++y) {
      writer.StartRow(xMin, y);
      for (std::int32_t x = xMin; x <= xMax;) {
        const auto alpha = static_cast<std::uint8_t>(random() % 4 == 0 ? 0 : 255);
        writer.Add(alpha);
        sums[static_cast<std::size_t>(FloorDivide(x, quality) + 200)] += alpha;
        const auto steps = static_cast<std::int32_t>(random() % 4 == 0 ? random() % 40 : 1);
        writer.Advance(steps);
        x += steps;
      }
    }
    writer.Flush();
    for (std::int32_t cell = 0; cell < 400; ++cell) {
      const std::int32_t sum = sums[static_cast<std::size_t>(cell)];
      OrvPixel& pixel = expected.At(MirrorFold(cell - 200, width), 0);
      OrvPixel source = kRed;
      source.alpha = static_cast<std::uint8_t>(sum / (quality * quality));
      if (sum > 0) BlendPixel(pixel, pixel, source);
    }
    ASSERT_TRUE(picture == expected) << "run " << run;
    writer.Flush();
    ASSERT_TRUE(picture == expected) << "a second flush finds samples, run " << run;
  }
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
