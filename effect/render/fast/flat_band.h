// Bands of a stroke whose profile is the same everywhere: what is covered and inside has the one alpha.
//
// Every piece sets the bits of its runs; where pieces overlap they set the same bit. A pixel's alpha is the number of
// its bits times the profile's alpha, over q * q.
#pragma once

#include <type_traits>

#include "effect/render/fast/band.h"
#include "effect/render/fast/mark_queue.h"
#include "effect/render/fast/pixels.h"
#include "effect/render/fast/run.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int Q>
class FlatBand {
 public:
  FlatBand(const DrawJob& job, std::int32_t firstRow) : band_(job, firstRow), painter_(job), queue_(band_) {}

  __attribute__((noinline)) void Walk(LivePiece& piece, std::int32_t y, std::int32_t end) {
#if defined(__AVX512F__)
    if constexpr (Q != 0 && Q % 4 == 0) {
      if (piece.tame) return queue_.AddTamePiece(piece, y, end);
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
    const PictureRows rows(painter_, band_.FirstPixelRow(), pixelRows);
    band_.template ForLines<true>(pixelRows, [&](Line* lines, std::int32_t count) {
      if constexpr (Q == 4) {
        BlendChunks(rows, CountChunks(rows, lines, count));
      } else {
        CountLines(rows, lines, count);
        BlendLines(rows, lines, count);
      }
    });
  }

 private:
  // Pixels blended at a time.
  static constexpr int kPixels = Q == 4 ? kLanes : kLanes == 4 ? 4 : 8;
  using P = Pixels<kPixels>;

  __attribute__((noinline)) void CountLines(const PictureRows& rows, const Line* lines, std::int32_t count) const {
    InsideWalk<Q> walk;
    for (std::int32_t i = 0; i < count; ++i) {
      rows.Expect(lines[i].pixelRow, band_.FirstPixelOf(lines[i].word));
      Vector drawn;
      TakeDrawn(walk, lines[i], drawn);
      if constexpr (Q == 1) {
        Store(Counts(i), std::uint64_t{drawn[0]});
      } else {
        Count(drawn, Counts(i));
      }
    }
  }
  __attribute__((noinline)) void BlendLines(const PictureRows& rows, const Line* lines, std::int32_t count) const {
    const Painter<kPixels> painter = painter_;
    const float one = static_cast<float>(band_.Job().counts[0]);
    for (std::int32_t i = 0; i < count; ++i) BlendLine(painter, one, rows[lines[i].pixelRow], lines[i], i);
  }
  static constexpr OutlineSide kNone = OutlineSide::kNone;
  using Rows = RowWords<Q>;
  using Vector = typename Rows::Vector;

  // The line's samples that are drawn; its marks are cleared.
  ORVANDEL_INLINE void TakeDrawn(InsideWalk<Q>& walk, const Line& line, Vector& drawn) const {
    const std::int32_t q = band_.Sizes().Quality();
    std::uint64_t* words = band_.WordsOf(line);
    walk.Inside(line, words, q, drawn);
    drawn &= Rows::Load(words, q);
    Rows::Store(words, Vector{}, q);
    Rows::Store(words + q, Vector{}, q);
  }

  // Samples of each pixel of a line.
  std::uint16_t* Counts(std::int32_t number) const {
    return band_.Job().band.lineCounters + static_cast<std::ptrdiff_t>(number) * kLineCounters;
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

  // Quality 4: lists the chunks that have samples, and their counts, a byte each. Which chunks have some cannot be
  // guessed, so there is no branch on it; a list without gaps is then blended without one.
  class ChunkList {
   public:
    explicit ChunkList(const BandMemory& memory)
        : counts_(reinterpret_cast<std::uint8_t*>(memory.lineCounters)), chunks_(memory.chunks) {}

    std::int32_t Size() const { return size_; }
    ORVANDEL_INLINE void Append(const Line& line, int chunk, const std::uint8_t* counts, bool any) {
      __builtin_memcpy(counts_ + static_cast<std::ptrdiff_t>(size_) * kPixels, counts, kPixels);
      chunks_[size_] = {static_cast<std::uint16_t>(line.word * kChunksPerLine + chunk), line.pixelRow};
      size_ += any ? 1 : 0;
    }

   private:
    std::uint8_t* counts_;
    Chunk* chunks_;
    std::int32_t size_ = 0;
  };
  static constexpr int kChunksPerLine = 16 / kPixels;

#if defined(__AVX512F__)
  // Two lines at a time: eight words of marks are one vector. `lines` has room for one more.
  __attribute__((noinline)) std::int32_t CountChunks(const PictureRows& rows, Line* lines, std::int32_t count) const {
    const std::int32_t unused = band_.Job().bandRows + 1;
    lines[count] = {0, static_cast<std::uint16_t>(unused)};
    ChunkList list(band_.Job().band);
    unsigned carry = 0;  // one bit a subrow: the words so far leave us inside
    std::int32_t pixelRow = -1;
    const __m512i order = _mm512_loadu_si512(kByteOrder.bytes);
    for (std::int32_t i = 0; i < count; i += 2) {
      const Line &a = lines[i], &b = lines[i + 1];
      std::uint64_t *wordsA = band_.WordsOf(a), *wordsB = band_.WordsOf(b);
      rows.Expect(a.pixelRow, a.word * 16);
      if (b.pixelRow != unused) rows.Expect(b.pixelRow, b.word * 16);
      const __m512i marksA = _mm512_loadu_si512(wordsA), marksB = _mm512_loadu_si512(wordsB);
      _mm512_storeu_si512(wordsA, __m512i{});
      _mm512_storeu_si512(wordsB, __m512i{});
      const __m512i cover = _mm512_shuffle_i64x2(marksA, marksB, 0x44);
      auto inside = (typename RowWords<8>::Vector)_mm512_shuffle_i64x2(marksA, marksB, 0xEE);
      RowWords<8>::TakeParity(inside);
      const unsigned ends = _mm512_movepi64_mask((__m512i)inside);
      const unsigned enterA = a.pixelRow == pixelRow ? carry : 0;
      const unsigned enterB = a.pixelRow == b.pixelRow ? (ends ^ enterA) & 15U : 0;
      carry = ends >> 4 ^ enterB;
      pixelRow = b.pixelRow;
      const auto turned = static_cast<__mmask8>(enterA | enterB << 4);
      const __m512i turnedInside =
          _mm512_mask_xor_epi64((__m512i)inside, turned, (__m512i)inside, _mm512_set1_epi64(-1));
      // The four bytes of two pixels' subrows side by side.
      const __m512i drawn = _mm512_permutexvar_epi8(order, _mm512_and_si512(turnedInside, cover));
      const __m512i even = _mm512_popcnt_epi32(_mm512_and_si512(drawn, _mm512_set1_epi32(0x0F0F0F0F)));
      const __m512i odd = _mm512_popcnt_epi32(_mm512_and_si512(drawn, _mm512_set1_epi32(static_cast<int>(0xF0F0F0F0))));
      const __m256i counts = _mm512_cvtepi16_epi8(_mm512_or_si512(even, _mm512_slli_epi32(odd, 16)));
      const unsigned any = _mm512_test_epi32_mask(drawn, drawn);
      std::uint8_t bytes[32];
      Store(bytes, counts);
      list.Append(a, 0, bytes, (any & 255U) != 0);
      list.Append(b, 0, bytes + 16, any > 255U);
    }
    return list.Size();
  }
  struct ByteOrder {
    alignas(64) std::uint8_t bytes[64];
    constexpr ByteOrder() : bytes() {
      for (int i = 0; i < 64; ++i) bytes[i] = static_cast<std::uint8_t>(i / 32 * 32 + i % 4 * 8 + i / 4 % 8);
    }
  };
  static constexpr ByteOrder kByteOrder{};
#else
  __attribute__((noinline)) std::int32_t CountChunks(const PictureRows& rows, const Line* lines,
                                                     std::int32_t count) const {
    InsideWalk<Q> walk;
    ChunkList list(band_.Job().band);
    for (std::int32_t i = 0; i < count; ++i) {
      Vector drawn;
      rows.Expect(lines[i].pixelRow, lines[i].word * 16);
      TakeDrawn(walk, lines[i], drawn);
      std::uint8_t counts[16];
      CountNibbles(drawn, counts);
      for (int chunk = 0; chunk < kChunksPerLine; ++chunk) {
        typedef std::conditional_t<kPixels == 8, std::uint64_t, std::uint32_t> Bytes;
        list.Append(lines[i], chunk, counts + chunk * kPixels,
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
      typename P::Ints up;
      for (int i = 0; i < kPixels; ++i) up[i] = i;
      table_[0] = painter.AlphasOf(P::ToFloats((typename P::Words)up) * one);
      table_[1] = painter.AlphasOf(P::ToFloats((typename P::Words)up + 16) * one);
#endif
    }
    ORVANDEL_INLINE typename P::Words Of(const typename P::Words& counts) const {
#if defined(__AVX512F__)
      if constexpr (kPixels == 16) {
        return (typename P::Words)_mm512_permutex2var_epi32((__m512i)table_[0], (__m512i)counts, (__m512i)table_[1]);
      }
#endif
      return painter_.AlphasOf(P::ToFloats(counts) * one_);
    }

   private:
    const Painter<kPixels>& painter_;
    float one_;
    typename P::Words table_[2];
  };

  __attribute__((noinline)) void BlendChunks(const PictureRows& rows, std::int32_t count) const {
    const Painter<kPixels> painter = painter_;
    const CountAlphas alphas(painter, static_cast<float>(band_.Job().counts[0]));
    const auto* counts = reinterpret_cast<const std::uint8_t*>(band_.Job().band.lineCounters);
    const Chunk* chunks = band_.Job().band.chunks;
    for (std::int32_t i = 0; i < count; ++i) {
      const Chunk chunk = chunks[i];
      const typename P::Words samples = P::LoadBytes(counts + static_cast<std::ptrdiff_t>(i) * kPixels);
      painter.Blend(rows[chunk.pixelRow], chunk.column * kPixels, samples != 0, alphas.Of(samples));
    }
  }

  // Quality 1: a pixel is a sample.
  ORVANDEL_INLINE void BlendBits(const Painter<kPixels>& painter, std::uint8_t* row, const Line& line,
                                 std::uint64_t bits) const {
    typename P::Ints bitOfLane;
    for (int i = 0; i < kPixels; ++i) bitOfLane[i] = 1 << i;
    constexpr std::uint64_t kChunk = (1U << kPixels) - 1;
    const typename P::Words alpha = typename P::Words{} + (band_.Job().counts[0] & 255U);
    for (std::int32_t i = band_.FirstPixelOf(line.word); bits != 0; i += kPixels, bits >>= kPixels) {
      if ((bits & kChunk) == 0) continue;
      painter.Blend(row, i, (bitOfLane & static_cast<std::int32_t>(bits & kChunk)) != 0, alpha);
    }
  }

  ORVANDEL_INLINE void BlendLine(const Painter<kPixels>& painter, float one, std::uint8_t* row, const Line& line,
                                 std::int32_t number) const {
    if constexpr (Q == 1) return BlendBits(painter, row, line, Load<std::uint64_t>(Counts(number)));
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
