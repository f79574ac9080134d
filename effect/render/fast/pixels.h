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

// Pixels blended at a time. Not more than eight: strokes are narrow, and what lies beside them is work for nothing.
#if defined(__AVX2__)
inline constexpr int kPixels = 8;
#else
inline constexpr int kPixels = 4;
#endif
typedef float PixelFloats __attribute__((vector_size(4 * kPixels)));
typedef std::int32_t PixelInts __attribute__((vector_size(4 * kPixels)));
typedef std::uint32_t PixelWords __attribute__((vector_size(4 * kPixels)));

ORVANDEL_INLINE PixelFloats PixelsToFloats(const PixelWords& v) {  // below 2^31
  return __builtin_convertvector((PixelInts)v, PixelFloats);
}
ORVANDEL_INLINE PixelWords ToWords(const PixelFloats& v) {  // 0 <= v < 2^31, truncated
  return (PixelWords) __builtin_convertvector(v, PixelInts);
}

// Small numbers from memory, one a lane. Compilers take the general conversion apart.
ORVANDEL_INLINE PixelWords LoadBytes(const std::uint8_t* from) {
#if defined(__AVX2__)
  return (PixelWords)_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)));
#else
  typedef std::uint8_t Bytes __attribute__((vector_size(kPixels)));
  return __builtin_convertvector(Load<Bytes>(from), PixelWords);
#endif
}
ORVANDEL_INLINE PixelWords LoadHalves(const std::uint16_t* from) {
#if defined(__AVX2__)
  return (PixelWords)_mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
#else
  typedef std::uint16_t Shorts __attribute__((vector_size(2 * kPixels)));
  return __builtin_convertvector(Load<Shorts>(from), PixelWords);
#endif
}

ORVANDEL_INLINE bool AnyPixel(const PixelInts& mask) {
#if defined(__AVX2__)
  return _mm256_testz_si256((__m256i)mask, (__m256i)mask) == 0;
#else
  std::int32_t any = 0;
  for (int i = 0; i < kPixels; ++i) any |= mask[i];
  return any != 0;
#endif
}

// v >= 0
ORVANDEL_INLINE PixelFloats WholePart(const PixelFloats& v) {
#if defined(__AVX2__)
  return _mm256_round_ps(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
#else
  return PixelsToFloats(ToWords(v));
#endif
}
ORVANDEL_INLINE PixelFloats AtLeastOne(const PixelFloats& v) {
#if defined(__AVX2__)
  return _mm256_max_ps(v, _mm256_set1_ps(1.0F));
#else
  return v > 1.0F ? v : PixelFloats{} + 1.0F;
#endif
}

// a * b + c where all three and the result are whole numbers below 2^24: exact, in one step or in two.
ORVANDEL_INLINE PixelFloats ExactMultiplyAdd(const PixelFloats& a, const PixelFloats& b, const PixelFloats& c) {
#if defined(__FMA__)
  return _mm256_fmadd_ps(a, b, c);
#else
  return a * b + c;
#endif
}

// Byte `from` of each word as byte `to` of a word of zeros.
template <int from, int to>
ORVANDEL_INLINE PixelWords MoveByte(const PixelWords& v) {
#if defined(__AVX2__)
  constexpr std::int32_t kZero = static_cast<std::int32_t>(0x80808080U & ~(255U << 8 * to));
  constexpr std::int32_t kStep = 0x04 << 8 * to;
  constexpr std::int32_t kMask = kZero | from << 8 * to;
  return (PixelWords)_mm256_shuffle_epi8(
      (__m256i)v, _mm256_setr_epi32(kMask, kMask + kStep, kMask + 2 * kStep, kMask + 3 * kStep, kMask, kMask + kStep,
                                    kMask + 2 * kStep, kMask + 3 * kStep));
#else
  return (v >> 8 * from & 255) << 8 * to;
#endif
}

// Red, green and blue of the stroke, and the same as a pixel of alpha 0.
struct Color {
  PixelFloats red, green, blue;
  PixelWords word;

  explicit Color(std::uint32_t pixel)
      : red(PixelFloats{} + static_cast<float>(pixel >> 8 & 255)),
        green(PixelFloats{} + static_cast<float>(pixel >> 16 & 255)),
        blue(PixelFloats{} + static_cast<float>(pixel >> 24 & 255)),
        word(PixelWords{} + pixel) {}
};

struct Weights {
  PixelFloats a, b;
};

// Byte `channel` of the pixel: (b's * weight b + a's * weight a) / 65536, in its place.
template <int channel>
ORVANDEL_INLINE PixelWords MixChannel(const PixelWords& below, const PixelFloats& above, const Weights& weights) {
  const PixelFloats belowChannel = PixelsToFloats(MoveByte<channel, 0>(below));
  return MoveByte<2, channel>(ToWords(ExactMultiplyAdd(belowChannel, weights.a, above * weights.b)));
}

// The colour with alphas 0 to 255 over pixels.
ORVANDEL_INLINE PixelWords BlendPixels(const PixelWords& below, const Color& color, const PixelFloats& alphaB) {
  const PixelFloats alphaA = PixelsToFloats(below & 255);
  const PixelFloats sum = AtLeastOne(alphaA + alphaB);
  const PixelFloats wanted = alphaA * 65536;
  Weights weights;
  weights.a = WholePart(wanted / sum);
  const PixelFloats rest = 65535 - weights.a;
  weights.b = weights.a * sum == wanted ? rest + 1 : rest;
  const PixelFloats outside = (255 - alphaA) * (255 - alphaB);
  const PixelWords alpha = 255 - ToWords((outside + 0.5F) * (1.0F / 255.0F));
  return alpha | MixChannel<1>(below, color.red, weights) | MixChannel<2>(below, color.green, weights) |
         MixChannel<3>(below, color.blue, weights);
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

  // Blends pixels [first, first + kPixels) of the row, counted like its counters; `sums` are what the counters hold.
  ORVANDEL_INLINE void Blend(std::uint8_t* row, std::int32_t first, const PixelFloats& sums) const {
    Blend(row, first, sums != 0, ToWords((sums + 0.5F) * mean_) & 255);
  }
  // The same with `drawn`, all ones in lanes of pixels that have a sample, and the alphas that they have then.
  ORVANDEL_INLINE void Blend(std::uint8_t* row, std::int32_t first, const PixelInts& drawn,
                             const PixelWords& alpha) const {
    std::uint8_t* pixels = row + static_cast<std::ptrdiff_t>(first) * 4;
    const std::int32_t x = firstPixel_ + first;
    if (x >= 0 && x + kPixels <= width_) {
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

  ORVANDEL_INLINE static void BlendAt(std::uint8_t* pixels, const Color& color, const PixelInts& drawn,
                                      const PixelWords& alpha) {
    const PixelWords below = Load<PixelWords>(pixels);
    const PixelInts covered = (PixelInts)((below & 255) != 0);
    if (AnyPixel(drawn & covered)) {
      const PixelWords blended = BlendPixels(below, color, PixelsToFloats(alpha));
      Store(pixels, drawn ? blended : below);
    } else {
      Store(pixels, drawn ? alpha | color.word : below);
    }
  }

  // Two of the pixels can be the same one: one after the other.
  __attribute__((noinline)) static void BlendFolded(std::uint8_t* row, std::int32_t x, std::int32_t width,
                                                    std::uint32_t color, PixelInts drawn, PixelWords alpha) {
    for (int i = 0; i < kPixels; ++i) {
      if (drawn[i] == 0) continue;
      std::uint8_t* pixel = row + static_cast<std::ptrdiff_t>(Folded(x + i, width)) * 4;
      std::uint32_t word;
      __builtin_memcpy(&word, pixel, 4);
      PixelWords below{}, one{};
      below[0] = word;
      one[0] = alpha[i];
      word = BlendPixels(below, Color(color), PixelsToFloats(one))[0];
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
