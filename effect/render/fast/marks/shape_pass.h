// The first pass over a band whose alpha varies across the stroke's width, see profile_band.h.
#pragma once

#include "effect/render/fast/marks/band.h"
#include "effect/render/fast/marks/mark_queue.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int P>
class ShapePass {
 public:
  explicit ShapePass(const Band<P>& band) : band_(band), queue_(band) {}

  void Run(LivePiece& piece, int a, int b, OutlineSide side, std::int32_t y, std::int32_t end) {
    queue_.Add(piece, a, b, side, y, end);
  }

  void Walk(const LivePiece& piece, std::int32_t y, std::int32_t end) {
    if constexpr (kInGroups) {
      FourFloats xBehind;
      if (queue_.AddTamePiece(piece, y, end, xBehind)) return;
    }
    LivePiece probe = piece;
    WalkPiece(probe, y, end, *this);
  }

  void OneRow(std::int32_t y, const Cut& cut, bool) {
    Columns run;
    if (!ClipColumns(cut.leftX, cut.rightX, band_.Job().lo, band_.Job().hi, run)) return;
    MarkSamples<P, true>(band_, y, run.first, run.last, cut.outline);
  }

  // What the second pass needs of word columns with cells that are not simple: crossings become "inside", `Twice`
  // becomes "covered and not simple", and their places in the plane of indices are set to "none". Nothing is left of
  // all other marks.
  void Resolve(std::int32_t pixelRows) {
    queue_.Flush();
    const auto resolve = [&](const WordColumn* columns, std::int32_t count) { ResolveColumns(columns, count); };
    band_.template ForTouched<false>(pixelRows, false, resolve);
  }

 private:
  using Words = StripWords<kStripRows<P>>;

  // Those of whole strips.
  void ResolveColumns(const WordColumn* columns, std::int32_t count) const {
    InsideWalk<P> walk;
    for (std::int32_t i = 0; i < count; ++i) {
      const WordColumn& at = columns[i];
      Words cover, inside;
      walk.Next(band_, at, cover, inside);
      Words bad = cover & ~inside;
      if (band_.Bad(at.strip) != 0) bad = bad | Words::Load(band_.Twice(at.strip, at.word));
      if (Any(bad)) KeepBadCells(at, inside, bad & band_.Sizes().SamplesOfWord());
    }
  }

  void KeepBadCells(const WordColumn& at, const Words& inside, const Words& bad) const {
    inside.StoreTo(band_.WordsOf(at) + kStripRows<P>);
    bad.StoreTo(band_.Twice(at.strip, at.word));
    band_.Bad(at.strip) = 1;
    std::uint16_t* smallest = band_.Smallest(at.strip, at.word);
    for (std::int32_t i = 0; i < kWordCells * kStripRows<P>; ++i) smallest[i] = kIndexEntries - 1;
  }

  const Band<P>& band_;
  MarkQueue<P, true> queue_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
