#include "stage/picture/picture_scale.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "media_files.h"

namespace orvandel::stage {
namespace {

int At(const Picture& picture, std::int32_t x, std::int32_t y, int channel) {
  return picture.bytes[static_cast<std::size_t>((y * picture.width + x) * 4 + channel)];
}

// The formula pixel by pixel, looking at every source pixel for every result pixel.
Picture AveragedNaively(const Picture& in, std::int32_t k) {
  Picture out((in.width + k - 1) / k, (in.height + k - 1) / k);
  for (std::int32_t v = 0; v < out.height; ++v) {
    for (std::int32_t u = 0; u < out.width; ++u) {
      long n = 0, a = 0, c[4] = {};
      for (std::int32_t y = 0; y < in.height; ++y) {
        for (std::int32_t x = 0; x < in.width; ++x) {
          if (x / k != u || y / k != v) continue;
          ++n;
          a += At(in, x, y, 0);
          for (int i = 1; i < 4; ++i) c[i] += At(in, x, y, i) * At(in, x, y, 0);
        }
      }
      std::uint8_t* pixel = &out.bytes[static_cast<std::size_t>((v * out.width + u) * 4)];
      pixel[0] = static_cast<std::uint8_t>((2 * a + n) / (2 * n));
      for (int i = 1; i < 4; ++i) pixel[i] = static_cast<std::uint8_t>(a == 0 ? 0 : (2 * c[i] + a) / (2 * a));
    }
  }
  return out;
}

TEST(AverageBlocks, IsTheFormulaAtEverySizeAndFactor) {
  std::mt19937 random(3);
  for (int round = 0; round < 60; ++round) {
    const Picture in = RandomPicture(1 + static_cast<int>(random() % 23), 1 + static_cast<int>(random() % 17), random);
    const auto k = static_cast<std::int32_t>(1 + random() % 9);
    const Picture out = AverageBlocks(in, k);
    if (k == 1) {
      EXPECT_EQ(out.bytes, in.bytes) << "full size is handed over as it is, also where alpha is 0";
      continue;
    }
    const Picture expected = AveragedNaively(in, k);
    ASSERT_EQ(std::pair(out.width, out.height), std::pair(expected.width, expected.height));
    ASSERT_EQ(out.bytes, expected.bytes) << in.width << "x" << in.height << " by " << k;
  }
}

// No formula of its own to repeat here: what any faithful stretching keeps.
TEST(StretchBicubic, KeepsFlatPicturesAndItsOwnSize) {
  std::mt19937 random(4);
  for (int round = 0; round < 30; ++round) {
    const auto size = [&] { return static_cast<std::int32_t>(1 + random() % 40); };
    Picture flat(size(), size());
    for (std::size_t i = 0; i < flat.bytes.size(); ++i) flat.bytes[i] = static_cast<std::uint8_t>(40 + 50 * (i % 4));
    const Picture stretched = StretchBicubic(flat, size(), size());
    for (std::size_t i = 0; i < stretched.bytes.size(); ++i) ASSERT_EQ(stretched.bytes[i], 40 + 50 * (i % 4));
  }
  // At its own size every visible pixel stays what it is.
  const Picture noise = RandomPicture(20, 10, random);
  const Picture same = StretchBicubic(noise, 20, 10);
  for (std::size_t i = 0; i < noise.bytes.size(); ++i) {
    if (noise.bytes[i / 4 * 4] != 0) {
      ASSERT_EQ(same.bytes[i], noise.bytes[i]);
    }
  }
}

TEST(StretchBicubic, InvisibleColoursDoNotBleed) {
  Picture half(2, 1);
  half.bytes = {255, 200, 100, 50, 0, 7, 255, 9};
  const Picture wide = StretchBicubic(half, 64, 4);
  for (std::size_t i = 0; i < wide.bytes.size(); i += 4) {
    if (wide.bytes[i] == 0) continue;
    EXPECT_EQ(wide.bytes[i + 1], 200);
    EXPECT_EQ(wide.bytes[i + 2], 100);
    EXPECT_EQ(wide.bytes[i + 3], 50);
  }
}

}  // namespace
}  // namespace orvandel::stage
