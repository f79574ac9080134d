// The first pass over a band whose alpha varies across the stroke's width, see profile_band.h.
#pragma once

#include "effect/render/fast/marks/band.h"
#include "effect/render/fast/marks/mark_queue.h"

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
    if constexpr (kInGroups<Q>) {
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
    band_.template ForLines<false>(pixelRows, false,
                                   [&](const Line* lines, std::int32_t count) { ResolveLines(lines, count); });
  }

 private:
  using Rows = StripWords<kStripRows<Q>>;
  using Vector = typename Rows::Vector;

  // Whole strips of lines.
  void ResolveLines(const Line* lines, std::int32_t count) const {
    InsideWalk<Q> walk;
    for (std::int32_t i = 0; i < count; ++i) {
      const Line& line = lines[i];
      Vector cover, inside;
      walk.Take(band_, line, cover, inside);
      Vector bad = cover & ~inside;
      if (band_.Bad(line.strip) != 0) bad = bad | Rows::Load(band_.Twice(line.strip, line.word), StripRows());
      if (Rows::Any(bad)) KeepBadCells(line, inside, bad);
    }
  }

  void KeepBadCells(const Line& line, const Vector& inside, const Vector& bad) const {
    Rows::Store(band_.WordsOf(line) + StripRows(), inside, StripRows());
    Rows::Store(band_.Twice(line.strip, line.word), bad, StripRows());
    band_.Bad(line.strip) = 1;
    std::uint16_t* smallest = band_.Smallest(line.strip, line.word);
    for (std::int32_t i = 0; i < 64 * StripRows(); ++i) smallest[i] = kIndexEntries - 1;
  }

  std::int32_t StripRows() const { return band_.Sizes().StripRows(); }

  const Band<Q>& band_;
  MarkQueue<Q, true> queue_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
