// Counters of a pixel row -> blended pixels, a vector of pixels at a time.
//
// The blend is that of blend.h, in single-precision arithmetic that is exact:
//   weightA = floor(65536 a / s), s = a + b <= 510. The division is rounded correctly, and a quotient that is no
//   integer lies at least 1/510 below the next one, while half an ulp below 65536 is 1/512: it cannot be rounded up to
//   it. weightB = floor(65536 b / s) = 65536 - ceil(65536 a / s), so 65535 - weightA, or one more where the division
//   came out even; weightA * s <= 65536 * 255 < 2^24 is exact and tells. Channels: both products and their sum stay
//   below 2^24 (the weights add up to at most 65536, a channel is <= 255). t / 255 for t <= 255 * 255: (t + 0.5) / 255
//   is at least 0.5 / 255 away from an integer, the product with the rounded 1 / 255 errs by less than 4e-5. The same
//   holds for a counter's mean, with q * q <= 256 for 255.
// The special cases of the plain code need no test: with s taken as 1 when both alphas are 0, weights of 0 and 65536
// give the one pixel or the other unchanged.
#pragma once

#include "effect/render/fast/lanes.h"
#include "effect/render/fast/stroke_job.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

inline Floats WholePart(const Floats& v) { return ToFloats(Truncate(v)); }

// Red, green and blue of the stroke, and the same as a pixel of alpha 0.
struct Color {
  float channels[3];
  std::uint32_t word;

  explicit Color(std::uint32_t pixel)
      : channels{static_cast<float>(pixel >> 8 & 255), static_cast<float>(pixel >> 16 & 255),
                 static_cast<float>(pixel >> 24 & 255)},
        word(pixel) {}
};

// The colour with alphas 0 to 255 over pixels.
ORVANDEL_INLINE Words BlendPixels(const Words& below, const Color& color, const Words& alpha) {
  const Floats alphaA = ToFloats(below & 255), alphaB = ToFloats(alpha);
  Floats sum = alphaA + alphaB;
  sum = sum > 1 ? sum : Floats{} + 1;
  const Floats wanted = alphaA * 65536;
  const Floats weightA = WholePart(wanted / sum);
  const Floats rest = 65535 - weightA;
  const Floats weightB = weightA * sum == wanted ? rest + 1 : rest;
  const Floats outside = (255 - alphaA) * (255 - alphaB);
  Words result = (Words)(255 - Truncate((outside + 0.5F) * (1.0F / 255.0F)));
  for (int i = 0; i < 3; ++i) {
    const int shift = 8 * (i + 1);
    const Floats channelA = ToFloats(below >> shift & 255);
    const Words mixed = (Words)Truncate(color.channels[i] * weightB + channelA * weightA);
    result |= (mixed & 0xFF0000) >> 16 << shift;
  }
  return result;
}

// The picture and the stroke's colour.
class Painter {
 public:
  explicit Painter(const DrawJob& job)
      : pixels_(job.pixels),
        rowBytes_(job.rowBytes),
        width_(job.width),
        height_(job.height),
        firstPixel_(job.firstPixel),
        color_(job.color),
        mean_(1.0F / static_cast<float>(job.quality * job.quality)) {}

  // Address of counter 0's pixel, which need not be in the picture. `pixelRow` is unfolded.
  std::uint8_t* Row(std::int32_t pixelRow) const {
    return pixels_ + static_cast<std::ptrdiff_t>(Folded(pixelRow, height_)) * rowBytes_ +
           static_cast<std::ptrdiff_t>(firstPixel_) * 4;
  }

  // Blends pixels [first, first + kLanes) of the row, counted like its counters; `sums` are what the counters hold.
  ORVANDEL_INLINE void Blend(std::uint8_t* row, std::int32_t first, const Floats& sums) const {
    const Ints drawn = sums != 0;
    const Words alpha = (Words)Truncate((sums + 0.5F) * mean_) & 255;
    std::uint8_t* pixels = row + static_cast<std::ptrdiff_t>(first) * 4;
    const std::int32_t x = firstPixel_ + first;
    if (x >= 0 && x + kLanes <= width_) {
      BlendAt(pixels, color_, drawn, alpha);
    } else {
      BlendFolded(row - static_cast<std::ptrdiff_t>(firstPixel_) * 4, x, width_, color_.word, drawn, alpha);
    }
  }

 private:
  static std::int32_t Folded(std::int32_t coordinate, std::int32_t size) {
    if (coordinate >= 0 && coordinate < size) return coordinate;
    const std::int32_t period = coordinate >= 0 ? coordinate / size : (coordinate - size + 1) / size;
    const std::int32_t rest = coordinate - period * size;
    return period % 2 != 0 ? size - 1 - rest : rest;
  }

  ORVANDEL_INLINE static void BlendAt(std::uint8_t* pixels, const Color& color, const Ints& drawn, const Words& alpha) {
    const Words below = Load<Words>(pixels);
    const Ints covered = (Ints)((below & 255) != 0);
    if (Any(drawn & covered)) {
      const Words blended = BlendPixels(below, color, alpha);
      Store(pixels, drawn ? blended : below);
    } else {
      Store(pixels, drawn ? alpha | color.word : below);
    }
  }

  // Two of the pixels can be the same one: one after the other.
  __attribute__((noinline)) static void BlendFolded(std::uint8_t* row, std::int32_t x, std::int32_t width,
                                                    std::uint32_t color, Ints drawn, Words alpha) {
    for (int i = 0; i < kLanes; ++i) {
      if (drawn[i] == 0) continue;
      std::uint8_t* pixel = row + static_cast<std::ptrdiff_t>(Folded(x + i, width)) * 4;
      std::uint32_t word;
      __builtin_memcpy(&word, pixel, 4);
      Words below{}, one{};
      below[0] = word;
      one[0] = alpha[i];
      word = BlendPixels(below, Color(color), one)[0];
      __builtin_memcpy(pixel, &word, 4);
    }
  }

  std::uint8_t* pixels_;
  std::ptrdiff_t rowBytes_;
  std::int32_t width_, height_, firstPixel_;
  Color color_;
  float mean_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
