// The first pass over a band whose alpha varies across the stroke's width, see profile_band.h.
#pragma once

#include "effect/render/fast/band.h"
#include "effect/render/fast/line_pairs.h"
#include "effect/render/fast/mark_queue.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int Q>
class ShapePass {
 public:
  explicit ShapePass(const Band<Q>& band) : band_(band), queue_(band) {}

  void Run(LivePiece& piece, int a, int b, OutlineSide side, std::int32_t y, std::int32_t end) {
    queue_.Add(piece, a, b, side, y, end);
  }

  void Walk(const LivePiece& piece, std::int32_t y, std::int32_t end) {
#if defined(__AVX512F__)
    if constexpr (Q != 0 && Q % 4 == 0) {
      FourFloats xBehind;
      if (queue_.AddTamePiece(piece, y, end, xBehind)) return;
    }
#endif
    LivePiece probe = piece;
    WalkPiece(probe, y, end, *this);
  }

  void OneRow(std::int32_t y, const Cut& cut, bool) {
    Cells cells;
    if (!TakeCells(cut.leftX, cut.rightX, band_.Job().lo, band_.Job().hi, cells)) return;
    const std::int32_t firstColumn = band_.FirstColumn();
    MarkRun<Q, true>(band_, y - band_.FirstRow(), cells.first - firstColumn, cells.last - firstColumn, cut.outline);
  }

  // Takes the marks for what the second pass needs of a line with cells that are not simple: crossings become "inside",
  // `Twice` becomes "covered and not simple", and their places in the plane of indices are set to "none". Of all others
  // nothing is left.
  void Resolve(std::int32_t pixelRows) {
    queue_.Flush();
    __builtin_memset(band_.Job().band.badRows, 0, static_cast<std::size_t>(Larger(pixelRows, 0) + kMostRowsOfBatch));
    band_.template ForLines<false>(pixelRows, [&](Line* lines, std::int32_t count) { ResolveLines(lines, count); });
  }

 private:
  using Rows = RowWords<Q>;
  using Vector = typename Rows::Vector;

  // Whole rows of lines, with room for one more.
  void ResolveLines(Line* lines, std::int32_t count) const {
#if defined(__AVX512F__)
    if constexpr (Q == 4) return ResolvePairs(lines, count);
#endif
    InsideWalk<Q> walk;
    for (std::int32_t i = 0; i < count; ++i) {
      const Line& line = lines[i];
      Vector cover, inside;
      walk.Take(band_, line, cover, inside);
      const Vector bad = Rows::Load(band_.Twice(line.pixelRow, line.word), Quality()) | (cover & ~inside);
      if (Rows::Any(bad)) KeepBadCells(line, inside, bad);
    }
  }

#if defined(__AVX512F__)
  void ResolvePairs(Line* lines, std::int32_t count) const {
    PairWalk walk(band_);
    walk.MakeEven(lines, count);
    for (std::int32_t i = 0; i < count; i += 2) {
      const Line &a = lines[i], &b = lines[i + 1];
      const PairMarks marks = walk.Take(a, b);
      const __m256i twiceA = _mm256_loadu_si256((const __m256i*)band_.Twice(a.pixelRow, a.word));
      const __m256i twiceB = _mm256_loadu_si256((const __m256i*)band_.Twice(b.pixelRow, b.word));
      const __m512i twice = _mm512_inserti64x4(_mm512_castsi256_si512(twiceA), twiceB, 1);
      const __m512i bad = _mm512_or_si512(twice, _mm512_andnot_si512(marks.inside, marks.cover));
      const unsigned any = _mm512_test_epi64_mask(bad, bad);
      if (any == 0) continue;
      if ((any & 15U) != 0) {
        KeepBadCells(a, (Vector)_mm512_castsi512_si256(marks.inside), (Vector)_mm512_castsi512_si256(bad));
      }
      if (any > 15U) {
        KeepBadCells(b, (Vector)_mm512_extracti64x4_epi64(marks.inside, 1), (Vector)_mm512_extracti64x4_epi64(bad, 1));
      }
    }
  }
#endif

  void KeepBadCells(const Line& line, const Vector& inside, const Vector& bad) const {
    Rows::Store(band_.WordsOf(line) + Quality(), inside, Quality());
    Rows::Store(band_.Twice(line.pixelRow, line.word), bad, Quality());
    band_.Job().band.badRows[line.pixelRow] = 1;
    std::uint16_t* smallest = band_.Smallest(line.pixelRow, line.word);
    for (std::int32_t i = 0; i < 64 * Quality(); ++i) smallest[i] = kIndexEntries - 1;
  }

  std::int32_t Quality() const { return band_.Sizes().Quality(); }

  const Band<Q>& band_;
  MarkQueue<Q, true> queue_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
