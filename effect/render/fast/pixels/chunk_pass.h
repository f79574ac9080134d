// At qualities 1, 2 and 4: lines of a band whose profile is the same everywhere -> blended pixels.
//
// First the samples of many lines are counted, then their pixels are blended, a chunk of as many as a vector holds at a
// time.
#pragma once

#include "effect/render/fast/marks/band.h"
#include "effect/render/fast/pixels/chunk_counts.h"
#include "effect/render/fast/pixels/picture_rows.h"
#include "effect/render/fast/pixels/pixels.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int Q>
class ChunkPass {
 public:
  static constexpr int kPixels = kLanes;  // of a chunk

  ChunkPass(const Band<Q>& band, const Painter<kPixels>& painter) : band_(band), painter_(painter) {}

  ORVANDEL_INLINE void Draw(const PictureRows& rows, const Line* lines, std::int32_t count) const {
    const std::int32_t chunks = Count(rows, lines, count);
    rows.MeetInStrip() ? BlendRowByRow(rows, chunks) : Blend(rows, chunks);
  }

 private:
  // Of a word column's pixel row.
  static constexpr int kChunksPerWord = 64 / Q / kPixels;
  static_assert(kStripPixelRows<Q> * kChunksPerWord <= MostChunks(Q));
  static_assert(kStripPixelRows<Q> * (64 / Q) <= MostChunkPixels(Q));
  static_assert((kWidestStroke + 15) / kPixels <= 0xFFFF, "of chunks that have samples");
  using P = Pixels<kPixels>;

  // Lists the chunks that have samples, and their counts, a byte each. Which chunks have some cannot be guessed, so
  // there is no branch on it; a list without gaps is then blended without one.
  class ChunkList {
   public:
    explicit ChunkList(const BandMemory& memory)
        : counts_(reinterpret_cast<std::uint8_t*>(memory.lineCounters)), chunks_(memory.chunks) {}

    std::int32_t Size() const { return size_; }
    template <typename Counts>
    ORVANDEL_INLINE void Append(std::int32_t column, std::int32_t pixelRow, const Counts& counts, bool any) {
      Store(counts_ + static_cast<std::ptrdiff_t>(size_) * kPixels, counts);
      chunks_[size_] = {static_cast<std::uint16_t>(column), static_cast<std::uint16_t>(pixelRow)};
      size_ += any ? 1 : 0;
    }

   private:
    std::uint8_t* counts_;
    Chunk* chunks_;
    std::int32_t size_ = 0;
  };

  __attribute__((noinline)) std::int32_t Count(const PictureRows& rows, const Line* lines, std::int32_t count) const {
    const Band<Q> band = band_;  // marks might alias it, but no copy
    InsideWalk<Q> walk;
    ChunkList list(band.Job().band);
    for (std::int32_t i = 0; i < count; ++i) {
      const Line line = lines[i];
      typename InsideWalk<Q>::Vector cover, inside;
      walk.Take(band, line, cover, inside);
      const auto append = [&](int chunk, const auto& counts, bool any) __attribute__((always_inline)) {
        const std::int32_t row = line.strip * kStripPixelRows<Q> + chunk / kChunksPerWord;
        const std::int32_t column = line.word * kChunksPerWord + chunk % kChunksPerWord;
        rows.Expect(row, column * kPixels);
        list.Append(column, row, counts, any);
      };
      ChunkCounts<Q>::ForEach(cover & inside, append);
    }
    return list.Size();
  }

  // Alphas by count of samples, which is not 0.
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
      if constexpr (Q == 1) return P::Words{} + (static_cast<std::uint32_t>(one_) & 255U);
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
  // Of one strip: from its upper row to the lower ones.
  __attribute__((noinline)) void BlendRowByRow(const PictureRows& rows, std::int32_t count) const {
    const CountAlphas alphas(painter_, static_cast<float>(band_.Job().counts[0]));
    for (int row = 0; row < kStripPixelRows<Q>; ++row) {
      for (std::int32_t i = 0; i < count; ++i) {
        if (band_.Job().band.chunks[i].pixelRow % kStripPixelRows<Q> == row) BlendChunk(painter_, alphas, rows, i);
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

  const Band<Q>& band_;
  const Painter<kPixels>& painter_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
