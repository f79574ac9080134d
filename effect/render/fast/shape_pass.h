// The first pass over a band whose alpha varies across the stroke's width, see profile_band.h.
#pragma once

#include "effect/render/fast/band.h"
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
    InsideWalk<Q> walk;
    band_.template ForLines<false>(pixelRows, [&](const Line* lines, std::int32_t count) {
      for (std::int32_t i = 0; i < count; ++i) ResolveLine(walk, lines[i]);
    });
  }

 private:
  using Rows = RowWords<Q>;
  using Vector = typename Rows::Vector;

  void ResolveLine(InsideWalk<Q>& walk, const Line& line) const {
    const std::int32_t q = band_.Sizes().Quality();
    std::uint64_t *words = band_.WordsOf(line), *twice = band_.Twice(line.pixelRow, line.word);
    Vector inside;
    walk.Inside(line, words, q, inside);
    const Vector bad = Rows::Load(twice, q) | (Rows::Load(words, q) & ~inside);
    const bool isBad = Rows::Any(bad);
    Rows::Store(words, Vector{}, q);
    Rows::Store(words + q, isBad ? inside : Vector{}, q);
    if (!isBad) return;
    Rows::Store(twice, bad, q);
    band_.Job().band.badRows[line.pixelRow] = 1;
    std::uint16_t* smallest = band_.Smallest(line.pixelRow, line.word);
    for (std::int32_t i = 0; i < 64 * q; ++i) smallest[i] = kIndexEntries - 1;
  }

  const Band<Q>& band_;
  MarkQueue<Q, true> queue_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
