// Word columns of a band whose profile is the same everywhere -> blended pixels.
//
// First the samples of many columns are counted, then their pixels are blended, a chunk at a time: the chains of
// operations are short that way, and many of them in flight.
#pragma once

#include "effect/render/fast/pixels/picture_rows.h"
#include "effect/render/fast/pixels/pixel_counts.h"
#include "effect/render/fast/pixels/pixels.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int P>
class ChunkPass {
 public:
  static constexpr int kPixels = PixelCounts<P>::kPixels;

  ChunkPass(const Band<P>& band, const Painter<kPixels>& painter) : band_(band), painter_(painter) {}

  ORVANDEL_INLINE void Draw(const PictureRows& rows, const WordColumn* columns, std::int32_t count) const {
    const std::int32_t chunks = ListChunks(rows, columns, count);
    rows.MeetInStrip() ? BlendRowByRow(rows, chunks) : Blend(rows, chunks);
  }

 private:
  using Count = typename PixelCounts<P>::Count;
  using Uints = Vec<std::uint32_t, kPixels>;
  static_assert(kStripPixelRows<P> * ((kWordCells / P + kPixels - 1) / kPixels) <= MostChunks(P));

  // Alphas by count of samples: a table of all where they are few and vectors look up.
  class CountAlphas {
   public:
    // `one`: what a sample adds to a pixel's counter.
    CountAlphas(const Painter<kPixels>& painter, float one) : painter_(painter), one_(one) {
      if constexpr (kInTable) {
        for (std::uint32_t i = 0; i < 2; ++i) table_[i] = Made(LaneNumbers<Uints>() + i * kPixels);
      }
    }
    ORVANDEL_INLINE Uints Of(const Uints& samples) const {
      if constexpr (kInTable) {
        return LookUp(table_, samples);
      } else {
        return Made(samples);
      }
    }

   private:
    static constexpr bool kInTable = kHasLookUp<Uints> && P * P < 2 * kPixels;
    ORVANDEL_INLINE Uints Made(const Uints& samples) const { return painter_.AlphasOf(ToFloats(samples) * one_); }
    const Painter<kPixels>& painter_;
    float one_;
    Uints table_[kInTable ? 2 : 1];
  };

  Count* CountsOf(std::int32_t chunk) const {
    return reinterpret_cast<Count*>(band_.Job().band.samples) + static_cast<std::ptrdiff_t>(chunk) * kPixels;
  }

  // Lists the chunks that have samples, without a branch, which would mispredict; a list without gaps is then blended
  // without one.
  __attribute__((noinline)) std::int32_t ListChunks(const PictureRows& rows, const WordColumn* columns,
                                                    std::int32_t count) const {
    const Band<P> band = band_;  // marks might alias it, but no copy
    Chunk* const chunks = band.Job().band.chunks;
    Count* const counts = CountsOf(0);
    const std::uint64_t samplesOfWord = band.Sizes().SamplesOfWord();
    InsideWalk<P> walk;
    std::int32_t size = 0;
    for (std::int32_t i = 0; i < count; ++i) {
      const WordColumn at = columns[i];
      typename InsideWalk<P>::Words cover, inside;
      walk.Next(band, at, cover, inside);
      const std::int32_t firstRow = at.strip * kStripPixelRows<P>, firstPixel = band.FirstPixelOf(at.word);
      const auto append = [&](int row, int pixel, const auto& samples, bool any) __attribute__((always_inline)) {
        rows.Prefetch(firstRow + row, firstPixel + pixel);
        Store(counts + static_cast<std::ptrdiff_t>(size) * kPixels, samples);
        chunks[size] = {static_cast<std::uint32_t>((firstRow + row) << 24 | (firstPixel + pixel))};
        size += any ? 1 : 0;
      };
      PixelCounts<P>::ForEach(cover & inside & samplesOfWord, append);
    }
    return size;
  }

  __attribute__((noinline)) void Blend(const PictureRows& rows, std::int32_t count) const {
    const Painter<kPixels> painter = painter_;
    const CountAlphas alphas(painter, static_cast<float>(band_.Job().counts[0]));
    for (std::int32_t i = 0; i < count; ++i) BlendChunk(painter, alphas, rows, i);
  }
  // Of one strip, whose rows meet: from its first row to the last one.
  __attribute__((noinline)) void BlendRowByRow(const PictureRows& rows, std::int32_t count) const {
    const CountAlphas alphas(painter_, static_cast<float>(band_.Job().counts[0]));
    for (int row = 0; row < kStripPixelRows<P>; ++row) {
      for (std::int32_t i = 0; i < count; ++i) {
        if (band_.Job().band.chunks[i].PixelRow() % kStripPixelRows<P> == row) BlendChunk(painter_, alphas, rows, i);
      }
    }
  }
  ORVANDEL_INLINE void BlendChunk(const Painter<kPixels>& painter, const CountAlphas& alphas, const PictureRows& rows,
                                  std::int32_t number) const {
    const Chunk chunk = band_.Job().band.chunks[number];
    const auto samples = LoadWidened<Uints>(CountsOf(number));
    painter.Blend(rows[chunk.PixelRow()], chunk.Pixel(), (typename Painter<kPixels>::Ints)(samples != 0),
                  alphas.Of(samples));
  }

  const Band<P>& band_;
  const Painter<kPixels>& painter_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
