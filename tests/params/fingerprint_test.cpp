// By what a picture is known again, against the same walk written out.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <random>

#include "effect/params/layer_image.h"
#include "tests/support/fake_host.h"

namespace orvandel::test {
namespace {

// The same walk by column and row: 3, 5, 11 pixels on, into the next row at most once.
Fingerprint PrintedPlainly(const OrvImage& image) {
  const std::int64_t rowLength = std::abs(image.rowBytes), width = image.width;
  Fingerprint sums = {static_cast<std::uint32_t>(width * width),
                      static_cast<std::uint32_t>(image.height * image.height)};
  for (std::int64_t step = 0, column = 0, row = 0;; ++step) {
    const std::int64_t at = row * rowLength + column * 4;
    if (at + 4 > rowLength * image.height) return sums;
    if (image.rowBytes > 0 || at % rowLength <= 4 * width - 4) {  // upside down nothing lies behind a row
      std::uint32_t word;
      std::memcpy(&word, image.data + at / rowLength * image.rowBytes + at % rowLength, sizeof word);
      word = std::rotr(word, static_cast<int>((step + 1) / 2 % 4 * 8));
      std::uint32_t& sum = sums[static_cast<std::size_t>(step % 2)];
      const char operation = "++^^^---+"[step % 9];
      sum = operation == '+' ? sum + word : operation == '-' ? sum - word : sum ^ word;
    }
    constexpr std::array<std::int64_t, 3> kStrides = {3, 5, 11};
    column += kStrides[static_cast<std::size_t>(step % 3)];
    if (column >= width) {
      column -= width;
      ++row;
    }
  }
}

TEST(Fingerprint, EqualsTheWalkByColumnAndRow) {
  std::mt19937 random(25);
  for (int round = 0; round < 2000; ++round) {
    const auto upTo = [&](unsigned most) { return static_cast<std::int32_t>(random() % (most + 1)); };
    FencedImage image(1 + upTo(round % 2 == 0 ? 12 : 50), 1 + upTo(12), 0, upTo(20), upTo(1) == 1);
    OrvImage view = image.View();
    for (std::int32_t y = 0; y < view.height; ++y) {
      for (std::int32_t i = 0; i < 4 * view.width; ++i) image.Pixel(0, y)[i] = static_cast<std::uint8_t>(random());
    }
    ASSERT_EQ(FingerprintImage(ImageBuffer::FromHost(view)), PrintedPlainly(view)) << "round " << round;
  }
  EXPECT_EQ(FingerprintImage(ImageBuffer{nullptr, 3, 3, 12}), (Fingerprint{0, 0}));
}

}  // namespace
}  // namespace orvandel::test
