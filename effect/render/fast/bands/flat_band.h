// Bands of a stroke whose profile is the same everywhere: what is covered and inside has the one alpha.
//
// Every piece sets the bits of its runs; where pieces overlap they set the same bit. A pixel's alpha is the number of
// its bits times the profile's alpha, over q * q.
#pragma once

#include "effect/render/fast/marks/band.h"
#include "effect/render/fast/marks/mark_queue.h"
#include "effect/render/fast/pieces/run.h"
#include "effect/render/fast/pixels/chunk_pass.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int P>
class FlatBand {
 public:
  FlatBand(const DrawJob& job, std::int32_t firstRow) : band_(job, firstRow), painter_(job), queue_(band_) {}

  __attribute__((noinline)) void Walk(LivePiece& piece, std::int32_t y, std::int32_t end) {
    if constexpr (kInGroups) {
      FourFloats xBehind;
      if (queue_.AddTamePiece(piece, y, end, xBehind)) return Store(piece.x, xBehind);
    }
    WalkPiece(piece, y, end, *this);
  }

  void Run(LivePiece& piece, int a, int b, OutlineSide side, std::int32_t y, std::int32_t end) {
    queue_.Add(piece, a, b, side, y, end);
  }

  void OneRow(std::int32_t y, const Cut& cut, bool wild) {
    Samples run;
    if (!MakeSamples(cut, band_.Job().lo, band_.Job().hi, run)) return;
    const std::int32_t first = run.first, last = first + run.count;
    const auto mark = [&](std::int32_t from, std::int32_t to, OutlineSide side) {
      MarkSamples<P, false>(band_, y, from, to, side);
    };
    if (!wild && run.count <= kLongestRun) return mark(first, last, cut.outline);
    // Crossings by themselves, then stretches of samples within the band.
    mark(first, first, cut.outline == OutlineSide::kLeft ? cut.outline : OutlineSide::kNone);
    mark(last, last, cut.outline == OutlineSide::kRight ? cut.outline : OutlineSide::kNone);
    for (std::int32_t x = first, begin = first; x <= last; ++x, run.u += run.dudx) {
      if (x < last && SafeIndexAt(run.u) < kFirstDropped) continue;
      if (begin < x) mark(begin, x, OutlineSide::kNone);
      begin = x + 1;
    }
  }

  // The band's pixel rows [0, pixelRows).
  __attribute__((noinline)) void Finish(std::int32_t pixelRows) {
    queue_.Flush();
    const PictureRows rows(band_, painter_, pixelRows);
    const ChunkPass<P> pass(band_, painter_);
    const auto draw = [&](const WordColumn* columns, std::int32_t count) { pass.Draw(rows, columns, count); };
    band_.template ForTouched<true>(pixelRows, rows.MeetInStrip(), draw);
  }

 private:
  Band<P> band_;
  Painter<ChunkPass<P>::kPixels> painter_;
  MarkQueue<P, false> queue_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
