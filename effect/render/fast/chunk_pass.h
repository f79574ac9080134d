// Quality 4, bands whose profile is the same everywhere: lines of 16 pixels -> blended pixels.
//
// First the samples of many lines are counted, then their pixels are blended, a chunk of as many as a vector holds at a
// time.
#pragma once

#include <type_traits>

#include "effect/render/fast/band.h"
#include "effect/render/fast/pixels.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

#if defined(__AVX512F__)
// Of a line, as eight words: the four bytes of two pixels' subrows side by side.
struct ByteOrder {
  alignas(64) std::uint8_t bytes[64];
  constexpr ByteOrder() : bytes() {
    for (int i = 0; i < 64; ++i) bytes[i] = static_cast<std::uint8_t>(i / 32 * 32 + i % 4 * 8 + i / 4 % 8);
  }
};
inline constexpr ByteOrder kByteOrder;
#endif

class ChunkPass {
 public:
  static constexpr int kPixels = kLanes;  // of a chunk

  ChunkPass(const Band<4>& band, const Painter<kPixels>& painter) : band_(band), painter_(painter) {}

  ORVANDEL_INLINE void Draw(const PictureRows& rows, const Line* lines, std::int32_t count) const {
    const std::int32_t chunks = Count(rows, lines, count);
    rows.MeetInStrip() ? BlendRowByRow(rows, chunks) : Blend(rows, chunks);
  }

 private:
  static constexpr int kChunksPerLine = 16 / kPixels;
  using P = Pixels<kPixels>;
  using Vector = InsideWalk<4>::Vector;

  // 16 pixels of four times four bits.
  ORVANDEL_INLINE static void CountNibbles(Vector& drawn, std::uint8_t* counts) {
    typedef std::uint64_t Two __attribute__((vector_size(16)));
    typedef std::uint8_t Bytes __attribute__((vector_size(16)));
    drawn -= drawn >> 1 & 0x5555555555555555U;
    drawn = (drawn & 0x3333333333333333U) + (drawn >> 2 & 0x3333333333333333U);
    // A pixel's four rows add up to at most 16: one bit more than its nibble has.
    const Vector even = drawn & 0x0F0F0F0F0F0F0F0FU, odd = drawn >> 4 & 0x0F0F0F0F0F0F0F0FU;
    const Two evenPairs = __builtin_shufflevector(even, even, 0, 1) + __builtin_shufflevector(even, even, 2, 3);
    const Two oddPairs = __builtin_shufflevector(odd, odd, 0, 1) + __builtin_shufflevector(odd, odd, 2, 3);
    const Bytes sums = (Bytes)(__builtin_shufflevector(evenPairs, oddPairs, 0, 2) +
                               __builtin_shufflevector(evenPairs, oddPairs, 1, 3));
    Store(counts, __builtin_shufflevector(sums, sums, 0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15));
  }

  // Lists the chunks that have samples, and their counts, a byte each. Which chunks have some cannot be
  // guessed, so there is no branch on it; a list without gaps is then blended without one.
  class ChunkList {
   public:
    explicit ChunkList(const BandMemory& memory)
        : counts_(reinterpret_cast<std::uint8_t*>(memory.lineCounters)), chunks_(memory.chunks) {}

    std::int32_t Size() const { return size_; }
    ORVANDEL_INLINE void Append(std::int32_t column, std::int32_t pixelRow, const std::uint8_t* counts, bool any) {
      __builtin_memcpy(counts_ + static_cast<std::ptrdiff_t>(size_) * kPixels, counts, kPixels);
      chunks_[size_] = {static_cast<std::uint16_t>(column), static_cast<std::uint16_t>(pixelRow)};
      size_ += any ? 1 : 0;
    }

   private:
    std::uint8_t* counts_;
    Chunk* chunks_;
    std::int32_t size_ = 0;
  };
#if defined(__AVX512F__)
  __attribute__((noinline)) std::int32_t Count(const PictureRows& rows, const Line* lines, std::int32_t count) const {
    const Band<4> band = band_;  // marks might alias it, but no copy
    InsideWalk<4> walk;
    ChunkList list(band.Job().band);
    const __m512i order = _mm512_loadu_si512(kByteOrder.bytes);
    for (std::int32_t i = 0; i < count; ++i) {
      const std::int32_t word = lines[i].word, upper = lines[i].strip * 2, lower = upper + 1;
      rows.Expect(upper, word * 16);
      rows.Expect(lower, word * 16);
      Vector cover, inside;
      walk.Take(band, lines[i], cover, inside);
      const __m512i drawn = _mm512_permutexvar_epi8(order, (__m512i)(cover & inside));
      const __m512i even = _mm512_popcnt_epi32(_mm512_and_si512(drawn, _mm512_set1_epi32(0x0F0F0F0F)));
      const __m512i odd = _mm512_popcnt_epi32(_mm512_and_si512(drawn, _mm512_set1_epi32(static_cast<int>(0xF0F0F0F0))));
      const __m256i counts = _mm512_cvtepi16_epi8(_mm512_or_si512(even, _mm512_slli_epi32(odd, 16)));
      const unsigned any = _mm512_test_epi32_mask(drawn, drawn);
      std::uint8_t bytes[32];
      Store(bytes, counts);
      list.Append(word, upper, bytes, (any & 255U) != 0);
      list.Append(word, lower, bytes + 16, any > 255U);
    }
    return list.Size();
  }
#else
  __attribute__((noinline)) std::int32_t Count(const PictureRows& rows, const Line* lines, std::int32_t count) const {
    const Band<4> band = band_;  // marks might alias it, but no copy
    InsideWalk<4> walk;
    ChunkList list(band.Job().band);
    for (std::int32_t i = 0; i < count; ++i) {
      Vector drawn, inside;
      rows.Expect(lines[i].strip, lines[i].word * 16);
      walk.Take(band, lines[i], drawn, inside);
      drawn &= inside;
      std::uint8_t counts[16];
      CountNibbles(drawn, counts);
      for (int chunk = 0; chunk < kChunksPerLine; ++chunk) {
        typedef std::conditional_t<kPixels == 8, std::uint64_t, std::uint32_t> Bytes;
        list.Append(lines[i].word * kChunksPerLine + chunk, lines[i].strip, counts + chunk * kPixels,
                    fast::ORVANDEL_KERNELS::Load<Bytes>(counts + chunk * kPixels) != 0);
      }
    }
    return list.Size();
  }
#endif

  // Alphas by count of samples.
  class CountAlphas {
   public:
    CountAlphas(const Painter<kPixels>& painter, float one) : painter_(painter), one_(one) {
#if defined(__AVX512F__)
      P::Ints up;
      for (int i = 0; i < kPixels; ++i) up[i] = i;
      table_[0] = painter.AlphasOf(P::ToFloats((P::Words)up) * one);
      table_[1] = painter.AlphasOf(P::ToFloats((P::Words)up + 16) * one);
#endif
    }
    ORVANDEL_INLINE P::Words Of(const P::Words& counts) const {
#if defined(__AVX512F__)
      if constexpr (kPixels == 16) {
        return (P::Words)_mm512_permutex2var_epi32((__m512i)table_[0], (__m512i)counts, (__m512i)table_[1]);
      }
#endif
      return painter_.AlphasOf(P::ToFloats(counts) * one_);
    }

   private:
    const Painter<kPixels>& painter_;
    float one_;
#if defined(__AVX512F__)
    P::Words table_[2];
#endif
  };

  __attribute__((noinline)) void Blend(const PictureRows& rows, std::int32_t count) const {
    const Painter<kPixels> painter = painter_;
    const CountAlphas alphas(painter, static_cast<float>(band_.Job().counts[0]));
    for (std::int32_t i = 0; i < count; ++i) BlendChunk(painter, alphas, rows, i);
  }
  // Of one strip: its upper row before the lower one.
  __attribute__((noinline)) void BlendRowByRow(const PictureRows& rows, std::int32_t count) const {
    const CountAlphas alphas(painter_, static_cast<float>(band_.Job().counts[0]));
    for (int row = 0; row < 2; ++row) {
      for (std::int32_t i = 0; i < count; ++i) {
        if (band_.Job().band.chunks[i].pixelRow % 2 == row) BlendChunk(painter_, alphas, rows, i);
      }
    }
  }
  ORVANDEL_INLINE void BlendChunk(const Painter<kPixels>& painter, const CountAlphas& alphas, const PictureRows& rows,
                                  std::int32_t number) const {
    const auto* counts = reinterpret_cast<const std::uint8_t*>(band_.Job().band.lineCounters);
    const Chunk chunk = band_.Job().band.chunks[number];
    const P::Words samples = P::LoadBytes(counts + static_cast<std::ptrdiff_t>(number) * kPixels);
    painter.Blend(rows[chunk.pixelRow], chunk.column * kPixels, samples != 0, alphas.Of(samples));
  }

  const Band<4>& band_;
  const Painter<kPixels>& painter_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
