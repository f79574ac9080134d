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
#include "effect/render/simd/lanes.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int N>
struct PixelTypes;
template <>
struct PixelTypes<4> {
  typedef float Floats __attribute__((vector_size(16)));
  typedef std::int32_t Ints __attribute__((vector_size(16)));
  typedef std::uint32_t Words __attribute__((vector_size(16)));
  typedef std::uint16_t Halves __attribute__((vector_size(8)));
  typedef std::uint8_t Bytes __attribute__((vector_size(4)));
};
template <>
struct PixelTypes<8> {
  typedef float Floats __attribute__((vector_size(32)));
  typedef std::int32_t Ints __attribute__((vector_size(32)));
  typedef std::uint32_t Words __attribute__((vector_size(32)));
  typedef std::uint16_t Halves __attribute__((vector_size(16)));
  typedef std::uint8_t Bytes __attribute__((vector_size(8)));
};
template <>
struct PixelTypes<16> {
  typedef float Floats __attribute__((vector_size(64)));
  typedef std::int32_t Ints __attribute__((vector_size(64)));
  typedef std::uint32_t Words __attribute__((vector_size(64)));
  typedef std::uint16_t Halves __attribute__((vector_size(32)));
  typedef std::uint8_t Bytes __attribute__((vector_size(16)));
};

// N pixels, one a lane, and the few operations on them that the compiler's vector types lack or take apart.
template <int N>
struct Pixels {
  using Floats = typename PixelTypes<N>::Floats;
  using Ints = typename PixelTypes<N>::Ints;
  using Words = typename PixelTypes<N>::Words;

  ORVANDEL_INLINE static Floats ToFloats(const Words& v) {  // below 2^31
    return __builtin_convertvector((Ints)v, Floats);
  }
  ORVANDEL_INLINE static Words ToWords(const Floats& v) {  // 0 <= v < 2^31, truncated
    return (Words) __builtin_convertvector(v, Ints);
  }

  // Small numbers from memory, one a lane.
  ORVANDEL_INLINE static Words LoadBytes(const std::uint8_t* from) {
#if defined(__AVX512F__)
    if constexpr (N == 16) return (Words)_mm512_cvtepu8_epi32(_mm_loadu_si128((const __m128i*)from));
#endif
#if defined(__AVX2__)
    if constexpr (N == 8) return (Words)_mm256_cvtepu8_epi32(_mm_loadl_epi64((const __m128i*)from));
#endif
    return __builtin_convertvector(Load<typename PixelTypes<N>::Bytes>(from), Words);
  }
  ORVANDEL_INLINE static Words LoadHalves(const std::uint16_t* from) {
#if defined(__AVX512F__)
    if constexpr (N == 16) return (Words)_mm512_cvtepu16_epi32(_mm256_loadu_si256((const __m256i*)from));
#endif
#if defined(__AVX2__)
    if constexpr (N == 8) return (Words)_mm256_cvtepu16_epi32(_mm_loadu_si128((const __m128i*)from));
#endif
    return __builtin_convertvector(Load<typename PixelTypes<N>::Halves>(from), Words);
  }

  ORVANDEL_INLINE static bool Any(const Ints& mask) {
#if defined(__AVX512F__)
    if constexpr (N == 16) return _mm512_test_epi32_mask((__m512i)mask, (__m512i)mask) != 0;
#endif
#if defined(__AVX2__)
    if constexpr (N == 8) return _mm256_testz_si256((__m256i)mask, (__m256i)mask) == 0;
#endif
    std::int32_t any = 0;
    for (int i = 0; i < N; ++i) any |= mask[i];
    return any != 0;
  }

  // v >= 0
  ORVANDEL_INLINE static Floats WholePart(const Floats& v) {
#if defined(__AVX512F__)
    if constexpr (N == 16) return _mm512_roundscale_ps(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
#endif
#if defined(__AVX2__)
    if constexpr (N == 8) return _mm256_round_ps(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
#endif
    return ToFloats(ToWords(v));
  }
  ORVANDEL_INLINE static Floats NextWhole(const Floats& v) {
#if defined(__AVX512F__)
    if constexpr (N == 16) return _mm512_roundscale_ps(v, _MM_FROUND_TO_POS_INF | _MM_FROUND_NO_EXC);
#endif
#if defined(__AVX2__)
    if constexpr (N == 8) return _mm256_round_ps(v, _MM_FROUND_TO_POS_INF | _MM_FROUND_NO_EXC);
#endif
    const Floats whole = ToFloats(ToWords(v));
    return whole < v ? whole + 1 : whole;
  }
  ORVANDEL_INLINE static Floats AtLeastOne(const Floats& v) {
#if defined(__AVX512F__)
    if constexpr (N == 16) return _mm512_max_ps(v, _mm512_set1_ps(1.0F));
#endif
#if defined(__AVX2__)
    if constexpr (N == 8) return _mm256_max_ps(v, _mm256_set1_ps(1.0F));
#endif
    return v > 1.0F ? v : Floats{} + 1.0F;
  }

  // a * b + c where all numbers are whole, or halves, and small enough to be exact: in one step or in two.
  ORVANDEL_INLINE static Floats ExactMultiplyAdd(const Floats& a, const Floats& b, const Floats& c) {
#if defined(__AVX512F__)
    if constexpr (N == 16) return _mm512_fmadd_ps(a, b, c);
#endif
#if defined(__FMA__)
    if constexpr (N == 8) return _mm256_fmadd_ps(a, b, c);
#endif
    return a * b + c;
  }

  // Byte `from` of each word as byte `to` of a word of zeros.
  template <int from, int to>
  ORVANDEL_INLINE static Words MoveByte(const Words& v) {
#if defined(__AVX2__)
    constexpr std::int32_t kZero = static_cast<std::int32_t>(0x80808080U & ~(255U << 8 * to));
    constexpr std::int32_t kStep = 0x04 << 8 * to, kMask = kZero | from << 8 * to;
    const __m128i bytes = _mm_setr_epi32(kMask, kMask + kStep, kMask + 2 * kStep, kMask + 3 * kStep);
#if defined(__AVX512F__)
    if constexpr (N == 16) return (Words)_mm512_shuffle_epi8((__m512i)v, _mm512_broadcast_i32x4(bytes));
#endif
    if constexpr (N == 8) return (Words)_mm256_shuffle_epi8((__m256i)v, _mm256_broadcastsi128_si256(bytes));
#endif
    return (v >> 8 * from & 255) << 8 * to;
  }
};

// Red, green and blue of the stroke, and the same as a pixel of alpha 0.
template <int N>
struct Color {
  using Floats = typename Pixels<N>::Floats;
  using Words = typename Pixels<N>::Words;
  Floats red, green, blue;
  Words word;

  explicit Color(std::uint32_t pixel)
      : red(Floats{} + static_cast<float>(pixel >> 8 & 255)),
        green(Floats{} + static_cast<float>(pixel >> 16 & 255)),
        blue(Floats{} + static_cast<float>(pixel >> 24 & 255)),
        word(Words{} + pixel) {}
};

template <int N>
struct Weights {
  typename Pixels<N>::Floats a, b;
};

// The blend of N pixels.
template <int N>
class Blending {
 public:
  using P = Pixels<N>;
  using Floats = typename P::Floats;
  using Words = typename P::Words;

  // The colour with alphas 0 to 255 over pixels.
  ORVANDEL_INLINE static Words Blend(const Words& below, const Color<N>& color, const Floats& alphaB) {
    const Floats alphaA = P::ToFloats(below & 255);
    const Floats sum = P::AtLeastOne(alphaA + alphaB);
    const Floats wanted = alphaA * 65536;
    Weights<N> weights;
    const Floats share = wanted / sum;
    weights.a = P::WholePart(share);
    weights.b = 65536 - P::NextWhole(share);
    const Floats outside = P::ExactMultiplyAdd(255 - alphaA, 255 - alphaB, Floats{} + 0.5F);
    const Words alpha = P::ToWords(outside * (1.0F / 255.0F)) ^ 255;
    return alpha | MixChannel<1>(below, color.red, weights) | MixChannel<2>(below, color.green, weights) |
           MixChannel<3>(below, color.blue, weights);
  }

 private:
  // Byte `channel` of the pixel: (b's * weight b + a's * weight a) / 65536, in its place.
  template <int channel>
  ORVANDEL_INLINE static Words MixChannel(const Words& below, const Floats& above, const Weights<N>& weights) {
    const Floats belowChannel = P::ToFloats(P::template MoveByte<channel, 0>(below));
    return P::template MoveByte<2, channel>(
        P::ToWords(P::ExactMultiplyAdd(belowChannel, weights.a, above * weights.b)));
  }
};

// The picture and the stroke's colour.
template <int N>
class Painter {
 public:
  using P = Pixels<N>;
  using Floats = typename P::Floats;
  using Ints = typename P::Ints;
  using Words = typename P::Words;

  explicit Painter(const DrawJob& job)
      : pixels_(job.pixels),
        rowBytes_(job.rowBytes),
        width_(job.width),
        height_(job.height),
        firstPixel_(job.firstPixel),
        color_(job.color),
        mean_(1.0F / static_cast<float>(job.quality * job.quality)) {}

  // Alphas of pixels whose counters hold `sums`.
  ORVANDEL_INLINE Words AlphasOf(const Floats& sums) const { return P::ToWords((sums + 0.5F) * mean_) & 255; }

  // Address of counter 0's pixel, which need not be in the picture. `pixelRow` is unfolded.
  std::uint8_t* Row(std::int32_t pixelRow) const {
    return pixels_ + static_cast<std::ptrdiff_t>(Folded(pixelRow, height_)) * rowBytes_ +
           static_cast<std::ptrdiff_t>(firstPixel_) * 4;
  }

  // Blends pixels [first, first + N) of the row, counted like its counters; `sums` are what the counters hold.
  ORVANDEL_INLINE void Blend(std::uint8_t* row, std::int32_t first, const Floats& sums) const {
    Blend(row, first, sums != 0, AlphasOf(sums));
  }
  // The same with `drawn`, all ones in lanes of pixels that have a sample, and the alphas that they have then.
  ORVANDEL_INLINE void Blend(std::uint8_t* row, std::int32_t first, const Ints& drawn, const Words& alpha) const {
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
                                      const Words& alpha) {
    const Words below = Load<Words>(pixels);
#if defined(__AVX512F__)
    if constexpr (N == 16) {
      const __mmask16 lanes = _mm512_test_epi32_mask((__m512i)drawn, (__m512i)drawn);
      if (_mm512_mask_test_epi32_mask(lanes, (__m512i)below, _mm512_set1_epi32(255)) != 0) {
        const Words blended = Blending<N>::Blend(below, color, P::ToFloats(alpha));
        _mm512_mask_storeu_epi32(pixels, lanes, (__m512i)blended);
      } else {
        _mm512_mask_storeu_epi32(pixels, lanes, (__m512i)(alpha | color.word));
      }
      return;
    }
#endif
    const Ints covered = (Ints)((below & 255) != 0);
    if (P::Any(drawn & covered)) {
      const Words blended = Blending<N>::Blend(below, color, P::ToFloats(alpha));
      Store(pixels, drawn ? blended : below);
    } else {
      Store(pixels, drawn ? alpha | color.word : below);
    }
  }

  // Two of the pixels can be the same one: one after the other.
  __attribute__((noinline)) static void BlendFolded(std::uint8_t* row, std::int32_t x, std::int32_t width,
                                                    std::uint32_t color, Ints drawn, Words alpha) {
    for (int i = 0; i < N; ++i) {
      if (drawn[i] == 0) continue;
      std::uint8_t* pixel = row + static_cast<std::ptrdiff_t>(Folded(x + i, width)) * 4;
      std::uint32_t word;
      __builtin_memcpy(&word, pixel, 4);
      Words below{}, one{};
      below[0] = word;
      one[0] = alpha[i];
      word = Blending<N>::Blend(below, Color<N>(color), P::ToFloats(one))[0];
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
