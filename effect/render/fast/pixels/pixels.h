// Counters of a pixel row -> blended pixels, N at a time.
//
// The blend is that of blend.h, in single-precision arithmetic that is exact:
//   weightA = floor(65536 a / s), s = a + b <= 510. The division is rounded correctly, and a quotient that is no
//   integer lies at least 1/510 away from every integer, while half an ulp below 65536 is 1/512: it cannot be rounded
//   to one. So weightB = floor(65536 b / s) = 65536 - ceil(65536 a / s) comes from the same quotient. Channels: both
//   products and their sum stay below 2^24 (the weights add up to at most 65536, a channel is <= 255). t / 255 for
//   t <= 255 * 255: (t + 0.5) / 255 is at least 0.5 / 255 away from an integer, the product with the rounded 1 / 255
//   errs by less than 4e-5. The same holds for a counter's mean, with q * q <= 256 for 255.
// The special cases of the plain code need no test: with s taken as 1 when both alphas are 0, weights of 0 and 65536
// give the one pixel or the other unchanged.
#pragma once

#include "effect/render/fast/job/stroke_job.h"
#include "effect/render/simd/simd.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// Red, green and blue of the stroke, and the same as a pixel of alpha 0.
template <int N>
struct Color {
  using Floats = Vec<float, N>;
  Floats red, green, blue;
  Vec<std::uint32_t, N> word;

  explicit Color(std::uint32_t pixel)
      : red(Floats{} + static_cast<float>(pixel >> 8 & 255)),
        green(Floats{} + static_cast<float>(pixel >> 16 & 255)),
        blue(Floats{} + static_cast<float>(pixel >> 24 & 255)),
        word(Vec<std::uint32_t, N>{} + pixel) {}
};

// The blend of N pixels.
template <int N>
class Blending {
 public:
  using Floats = Vec<float, N>;
  using Uints = Vec<std::uint32_t, N>;

  // The colour with alphas 0 to 255 over pixels.
  ORVANDEL_INLINE static Uints Blend(const Uints& below, const Color<N>& color, const Floats& alphaB) {
    const Floats alphaA = ToFloats(below & 255);
    const Floats share = alphaA * 65536 / Larger(alphaA + alphaB, Floats{} + 1.0F);
    const Floats weightA = WholePart(share), weightB = 65536 - NextWhole(share);
    const Floats outside = ExactMultiplyAdd(255 - alphaA, 255 - alphaB, Floats{} + 0.5F);
    const auto alpha = (Uints)Truncate(outside * (1.0F / 255.0F)) ^ 255;
    return alpha | MixChannel<1>(below, weightA, color.red * weightB) |
           MixChannel<2>(below, weightA, color.green * weightB) | MixChannel<3>(below, weightA, color.blue * weightB);
  }

 private:
  // Byte `channel` of the pixel: (its own * weight a + the colour's * weight b) / 65536, in its place.
  template <int channel>
  ORVANDEL_INLINE static Uints MixChannel(const Uints& below, const Floats& weightA, const Floats& above) {
    const Floats own = ToFloats(MoveByte<channel, 0>(below));
    return MoveByte<2, channel>((Uints)Truncate(ExactMultiplyAdd(own, weightA, above)));
  }
};

// The picture and the stroke's colour.
template <int N>
class Painter {
 public:
  using Floats = Vec<float, N>;
  using Ints = Vec<std::int32_t, N>;
  using Uints = Vec<std::uint32_t, N>;

  explicit Painter(const DrawJob& job)
      : pixels_(job.pixels),
        rowBytes_(job.rowBytes),
        width_(job.width),
        height_(job.height),
        firstPixel_(job.firstPixel),
        color_(job.color),
        mean_(1.0F / static_cast<float>(job.quality * job.quality)) {}

  // Alphas of pixels whose counters hold `sums`.
  ORVANDEL_INLINE Uints AlphasOf(const Floats& sums) const { return (Uints)Truncate((sums + 0.5F) * mean_) & 255; }

  // Address of counter 0's pixel, which need not be in the picture. `pixelRow` is unfolded.
  std::uint8_t* Row(std::int32_t pixelRow) const {
    return pixels_ + static_cast<std::ptrdiff_t>(Folded(pixelRow, height_)) * rowBytes_ +
           static_cast<std::ptrdiff_t>(firstPixel_) * 4;
  }

  // Blends pixels [first, first + N) of the row, counted like its counters; `sums` are what the counters hold.
  ORVANDEL_INLINE void Blend(std::uint8_t* row, std::int32_t first, const Floats& sums) const {
    Blend(row, first, (Ints)(sums != 0), AlphasOf(sums));
  }
  // The same with `drawn`, all ones in lanes of pixels that have a sample, and the alphas that they have then.
  ORVANDEL_INLINE void Blend(std::uint8_t* row, std::int32_t first, const Ints& drawn, const Uints& alpha) const {
    std::uint8_t* pixels = row + static_cast<std::ptrdiff_t>(first) * 4;
    const std::int32_t x = firstPixel_ + first;
    if (x >= 0 && x + N <= width_) {
      BlendAt(pixels, color_, drawn, alpha);
    } else {
      BlendFolded(row - static_cast<std::ptrdiff_t>(firstPixel_) * 4, x, width_, color_.word[0], drawn, alpha);
    }
  }

 private:
  static std::int32_t Folded(std::int32_t coordinate, std::int32_t size) {
    if (coordinate >= 0 && coordinate < size) return coordinate;
    const std::int32_t period = coordinate >= 0 ? coordinate / size : (coordinate - size + 1) / size;
    const std::int32_t rest = coordinate - period * size;
    return period % 2 != 0 ? size - 1 - rest : rest;
  }

  ORVANDEL_INLINE static void BlendAt(std::uint8_t* pixels, const Color<N>& color, const Ints& drawn,
                                      const Uints& alpha) {
    const Uints below = Load<Uints>(pixels);
    if (AnyWhere(drawn, below & 255)) {
      const Uints blended = Blending<N>::Blend(below, color, ToFloats(alpha));
      StoreWhere(pixels, drawn, blended, below);
    } else {
      StoreWhere(pixels, drawn, alpha | color.word, below);
    }
  }

  // Two of the pixels can be the same one: one after the other.
  __attribute__((noinline)) static void BlendFolded(std::uint8_t* row, std::int32_t x, std::int32_t width,
                                                    std::uint32_t color, Ints drawn, Uints alpha) {
    for (int i = 0; i < N; ++i) {
      if (drawn[i] == 0) continue;
      std::uint8_t* pixel = row + static_cast<std::ptrdiff_t>(Folded(x + i, width)) * 4;
      std::uint32_t word;
      __builtin_memcpy(&word, pixel, 4);
      Uints below{}, one{};
      below[0] = word;
      one[0] = alpha[i];
      word = Blending<N>::Blend(below, Color<N>(color), ToFloats(one))[0];
      __builtin_memcpy(pixel, &word, 4);
    }
  }

  std::uint8_t* pixels_;
  std::ptrdiff_t rowBytes_;
  std::int32_t width_, height_, firstPixel_;
  Color<N> color_;
  float mean_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
