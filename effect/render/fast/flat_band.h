// Bands of a stroke whose profile is the same everywhere: what is covered and inside has the one alpha.
//
// Every piece sets the bits of its runs; where pieces overlap they set the same bit. A pixel's alpha is the number of
// its bits times the profile's alpha, over q * q.
#pragma once

#include <type_traits>

#include "effect/render/fast/band.h"
#include "effect/render/fast/pixels.h"
#include "effect/render/fast/run.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int Q>
class FlatBand {
 public:
  FlatBand(const DrawJob& job, std::int32_t firstRow) : band_(job, firstRow), painter_(job) {}

  __attribute__((noinline)) void Walk(LivePiece& piece, std::int32_t y, std::int32_t end) {
    WalkPiece(piece, y, end, *this);
  }

  void Run(LivePiece& piece, int a, int b, OutlineSide side, std::int32_t y, std::int32_t end) {
    MarkRuns<Q, false>(band_, piece, a, b, side, y, end);
  }

  void OneRow(std::int32_t y, const Cut& cut, bool wild) {
    const std::int32_t row = y - band_.FirstRow();
    Samples run;
    if (!TakeSamples(cut, band_.Job().lo, band_.Job().hi, run)) return;
    const std::int32_t first = run.first - band_.FirstColumn(), last = first + run.count;
    if (!wild && run.count <= kLongestRun) {
      MarkRun<Q, false>(band_, row, first, last, cut.outline);
      return;
    }
    // Crossings by themselves, then stretches of samples within the band.
    MarkRun<Q, false>(band_, row, first, first, cut.outline == OutlineSide::kLeft ? cut.outline : kNone);
    MarkRun<Q, false>(band_, row, last, last, cut.outline == OutlineSide::kRight ? cut.outline : kNone);
    for (std::int32_t x = first, begin = first; x <= last; ++x, run.u += run.dudx) {
      if (x < last && SafeIndexAt(run.u) < kFirstDropped) continue;
      if (begin < x) MarkRun<Q, false>(band_, row, begin, x, kNone);
      begin = x + 1;
    }
  }

  // The band's pixel rows [0, pixelRows): first the samples of many lines, then their pixels. The chains of operations
  // are short that way, and many of them in flight.
  __attribute__((noinline)) void Finish(std::int32_t pixelRows) {
    InsideWalk<Q> walk;
    band_.template ForLines<true>(painter_, pixelRows, [&](const Line* lines, std::int32_t count) {
      CountLines(walk, lines, count);
      if constexpr (Q == 4) {
        BlendChunks(lines, ListChunks(count));
      } else {
        BlendLines(lines, count);
      }
    });
  }

 private:
  __attribute__((noinline)) void CountLines(InsideWalk<Q>& theWalk, const Line* lines, std::int32_t count) const {
    InsideWalk<Q> walk = theWalk;
    for (std::int32_t i = 0; i < count; ++i) CountLine(walk, lines[i], i);
    theWalk = walk;
  }
  __attribute__((noinline)) void BlendLines(const Line* lines, std::int32_t count) const {
    const Painter painter = painter_;
    const float one = static_cast<float>(band_.Job().counts[0]);
    for (std::int32_t i = 0; i < count; ++i) BlendLine(painter, one, lines[i], i);
  }
  static constexpr OutlineSide kNone = OutlineSide::kNone;
  using Rows = RowWords<Q>;
  using Vector = typename Rows::Vector;

  void CountLine(InsideWalk<Q>& walk, const Line& line, std::int32_t number) const {
    const std::int32_t q = band_.Sizes().Quality();
    Vector drawn;
    walk.Inside(line, q, drawn);
    drawn &= Rows::Load(line.words, q);
    Rows::Store(line.words, Vector{}, q);
    Rows::Store(line.words + q, Vector{}, q);
    if constexpr (Q == 1) {
      Store(Counts(number), std::uint64_t{drawn[0]});
    } else if constexpr (Q == 4) {
      CountNibbles(drawn, NibbleCounts(number));
    } else {
      Count(drawn, Counts(number));
    }
  }

  // Samples of each pixel of a line.
  std::uint16_t* Counts(std::int32_t number) const {
    return band_.Job().band.lineCounters + static_cast<std::ptrdiff_t>(number) * kLineCounters;
  }
  // A byte each where they fit.
  std::uint8_t* NibbleCounts(std::int32_t number) const {
    return reinterpret_cast<std::uint8_t*>(band_.Job().band.lineCounters) + static_cast<std::ptrdiff_t>(number) * 16;
  }

  void Count(const Vector& drawn, std::uint16_t* counts) const {
    const std::int32_t q = band_.Sizes().Quality();
    const std::uint64_t pixel = (std::uint64_t{1} << q) - 1;
    for (std::int32_t i = 0; i < band_.Sizes().PixelsPerWord(); ++i) {
      std::int32_t samples = 0;
      for (std::int32_t row = 0; row < q; ++row) samples += __builtin_popcountll(drawn[row] >> (i * q) & pixel);
      counts[i] = static_cast<std::uint16_t>(samples);
    }
  }

  // Quality 4: 16 pixels of four times four bits.
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

  // Quality 4: lists the chunks of kPixels counts that are not all 0. Which are cannot be guessed, so there is no
  // branch on it; a list without gaps is then blended without one.
  __attribute__((noinline)) std::int32_t ListChunks(std::int32_t lineCount) const {
    typedef std::conditional_t<kPixels == 8, std::uint64_t, std::uint32_t> Chunk;
    const std::uint8_t* counts = NibbleCounts(0);
    std::uint32_t* chunks = band_.Job().band.chunks;
    std::int32_t listed = 0;
    for (std::int32_t i = 0; i < lineCount * kChunksPerLine; ++i) {
      Chunk chunk;
      __builtin_memcpy(&chunk, counts + static_cast<std::ptrdiff_t>(i) * kPixels, sizeof chunk);
      chunks[listed] = static_cast<std::uint32_t>(i);
      listed += chunk != 0 ? 1 : 0;
    }
    return listed;
  }

  __attribute__((noinline)) void BlendChunks(const Line* lines, std::int32_t listed) const {
    const Painter painter = painter_;
    const float one = static_cast<float>(band_.Job().counts[0]);
    const std::uint8_t* counts = NibbleCounts(0);
    const std::uint32_t* chunks = band_.Job().band.chunks;
    for (std::int32_t i = 0; i < listed; ++i) {
      const auto chunk = static_cast<std::int32_t>(chunks[i]);
      const Line& line = lines[chunk / kChunksPerLine];
      const PixelWords samples = LoadBytes(counts + static_cast<std::ptrdiff_t>(chunk) * kPixels);
      const std::int32_t first = band_.FirstPixelOf(line.word) + chunk % kChunksPerLine * kPixels;
      painter.Blend(line.row, first, PixelsToFloats(samples) * one);
    }
  }
  static constexpr std::int32_t kChunksPerLine = 16 / kPixels;

  // Quality 1: a pixel is a sample.
  ORVANDEL_INLINE void BlendBits(const Painter& painter, const Line& line, std::uint64_t bits) const {
    PixelInts bitOfLane;
    for (int i = 0; i < kPixels; ++i) bitOfLane[i] = 1 << i;
    constexpr std::uint64_t kChunk = (1U << kPixels) - 1;
    const PixelWords alpha = PixelWords{} + (band_.Job().counts[0] & 255U);
    for (std::int32_t i = band_.FirstPixelOf(line.word); bits != 0; i += kPixels, bits >>= kPixels) {
      if ((bits & kChunk) == 0) continue;
      painter.Blend(line.row, i, (bitOfLane & static_cast<std::int32_t>(bits & kChunk)) != 0, alpha);
    }
  }

  ORVANDEL_INLINE void BlendLine(const Painter& painter, float one, const Line& line, std::int32_t number) const {
    if constexpr (Q == 1) return BlendBits(painter, line, Load<std::uint64_t>(Counts(number)));
    const std::int32_t first = band_.FirstPixelOf(line.word), pixels = band_.Sizes().PixelsPerWord();
    for (std::int32_t i = 0; i < pixels; i += kPixels) {
      const PixelWords samples = LoadHalves(Counts(number) + i);
      if (AnyPixel((PixelInts)samples)) painter.Blend(line.row, first + i, PixelsToFloats(samples) * one);
    }
  }

  Band<Q> band_;
  Painter painter_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
