// Bands of a stroke whose profile is the same everywhere: what is covered and inside has the one alpha.
//
// Every piece sets the bits of its runs; where pieces overlap they set the same bit. A pixel's alpha is the number of
// its bits times the profile's alpha, over q * q.
#pragma once

#include "effect/render/fast/marks/band.h"
#include "effect/render/fast/marks/mark_queue.h"
#include "effect/render/fast/pieces/run.h"
#include "effect/render/fast/pixels/chunk_pass.h"
#include "effect/render/fast/pixels/picture_rows.h"
#include "effect/render/fast/pixels/pixels.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int Q>
class FlatBand {
 public:
  FlatBand(const DrawJob& job, std::int32_t firstRow) : band_(job, firstRow), painter_(job), queue_(band_) {}

  __attribute__((noinline)) void Walk(LivePiece& piece, std::int32_t y, std::int32_t end) {
#if defined(__AVX512F__)
    if constexpr (kInGroups<Q>) {
      FourFloats xBehind;
      if (queue_.AddTamePiece(piece, y, end, xBehind)) return Store(piece.x, xBehind);
    }
#endif
    WalkPiece(piece, y, end, *this);
  }

  void Run(LivePiece& piece, int a, int b, OutlineSide side, std::int32_t y, std::int32_t end) {
    queue_.Add(piece, a, b, side, y, end);
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
    queue_.Flush();
    const PictureRows rows(band_, painter_, pixelRows);
    band_.template ForLines<true>(pixelRows, rows.MeetInStrip(), [&](const Line* lines, std::int32_t count) {
      if constexpr (ChunkCounts<Q>::kThere) {
        ChunkPass<Q>(band_, painter_).Draw(rows, lines, count);
      } else {
        CountLines(rows, lines, count);
        BlendLines(rows, lines, count);
      }
    });
  }

 private:
  // Pixels blended at a time: as many as a vector holds where lines may be as long.
  static constexpr int kPixels = ChunkCounts<Q>::kThere || Q == 0 ? kLanes : Smaller(kLanes, 8);
  using P = Pixels<kPixels>;

  __attribute__((noinline)) void CountLines(const PictureRows& rows, const Line* lines, std::int32_t count) const {
    InsideWalk<Q> walk;
    for (std::int32_t i = 0; i < count; ++i) {
      rows.Expect(lines[i].strip, band_.FirstPixelOf(lines[i].word));
      Vector drawn, inside;
      walk.Take(band_, lines[i], drawn, inside);
      drawn = drawn & inside;
      Count(drawn, Counts(i));
    }
  }
  __attribute__((noinline)) void BlendLines(const PictureRows& rows, const Line* lines, std::int32_t count) const {
    const Painter<kPixels> painter = painter_;
    const float one = static_cast<float>(band_.Job().counts[0]);
    for (std::int32_t i = 0; i < count; ++i) BlendLine(painter, one, rows[lines[i].strip], lines[i], i);
  }
  static constexpr OutlineSide kNone = OutlineSide::kNone;
  using Rows = StripWords<kStripRows<Q>>;
  using Vector = typename Rows::Vector;

  // Samples of each pixel of a line.
  std::uint16_t* Counts(std::int32_t number) const {
    return band_.Job().band.lineCounters + static_cast<std::ptrdiff_t>(number) * kLineCounters;
  }
  ORVANDEL_INLINE void Count(const Vector& drawn, std::uint16_t* counts) const {
    if constexpr (Q == 8 || Q == 16) {
      CountBytes(drawn, counts);
    } else {
      CountFields(drawn, counts);
    }
  }

  // A pixel's rows are fields of so many bits as the quality says.
  ORVANDEL_INLINE void CountFields(const Vector& drawn, std::uint16_t* counts) const {
    const std::int32_t q = band_.Sizes().Quality(), pixels = band_.Sizes().PixelsPerWord();
#if defined(__AVX512F__)
    std::uint64_t words[kLargestQuality];
    Store(words, drawn);
    const __m512i lane = _mm512_setr_epi64(0, 1, 2, 3, 4, 5, 6, 7), field = _mm512_set1_epi64((1 << q) - 1);
    for (std::int32_t i = 0; i < pixels; i += 8) {
      const __m512i place = _mm512_mullo_epi32(_mm512_add_epi64(lane, _mm512_set1_epi64(i)), _mm512_set1_epi64(q));
      __m512i samples{};
      for (std::int32_t row = 0; row < q; ++row) {
        const __m512i word = _mm512_set1_epi64(static_cast<std::int64_t>(words[row]));
        const __m512i bits = _mm512_and_si512(_mm512_srlv_epi64(word, place), field);
        samples = _mm512_add_epi64(samples, _mm512_popcnt_epi64(bits));
      }
      Store(counts + i, _mm512_cvtepi64_epi16(samples));
    }
#else
    const std::uint64_t field = (std::uint64_t{1} << q) - 1;
    for (std::int32_t i = 0; i < pixels; ++i) {
      std::int32_t samples = 0;
      for (std::int32_t row = 0; row < q; ++row) samples += __builtin_popcountll(drawn[row] >> (i * q) & field);
      counts[i] = static_cast<std::uint16_t>(samples);
    }
#endif
  }

  // A pixel's rows are one byte or two: bits are added up to pairs, fours and so on, then row to row.
  ORVANDEL_INLINE static void CountBytes(Vector counts, std::uint16_t* to) {
    counts = counts - (counts >> 1 & 0x5555555555555555U);
    counts = (counts & 0x3333333333333333U) + (counts >> 2 & 0x3333333333333333U);
    counts = (counts + (counts >> 4)) & 0x0F0F0F0F0F0F0F0FU;
    if constexpr (Q == 16) {
      Store(to, Rows::Sum((counts + (counts >> 8)) & 0x00FF00FF00FF00FFU));
    } else {
      typedef std::uint8_t Bytes __attribute__((vector_size(8)));
      typedef std::uint16_t Numbers __attribute__((vector_size(16)));
      Store(to, __builtin_convertvector((Bytes)Rows::Sum(counts), Numbers));
    }
  }

  ORVANDEL_INLINE void BlendLine(const Painter<kPixels>& painter, float one, std::uint8_t* row, const Line& line,
                                 std::int32_t number) const {
    const std::int32_t first = band_.FirstPixelOf(line.word), pixels = band_.Sizes().PixelsPerWord();
    for (std::int32_t i = 0; i < pixels; i += kPixels) {
      const typename P::Words samples = P::LoadHalves(Counts(number) + i);
      if (P::Any((typename P::Ints)samples)) painter.Blend(row, first + i, P::ToFloats(samples) * one);
    }
  }

  Band<Q> band_;
  Painter<kPixels> painter_;
  MarkQueue<Q, false> queue_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
