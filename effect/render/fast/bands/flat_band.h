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

template <int Q>
class FlatBand {
 public:
  FlatBand(const DrawJob& job, std::int32_t firstRow) : band_(job, firstRow), painter_(job), queue_(band_) {}

  __attribute__((noinline)) void Walk(LivePiece& piece, std::int32_t y, std::int32_t end) {
    if constexpr (kInGroups<Q>) {
      FourFloats xBehind;
      if (queue_.AddTamePiece(piece, y, end, xBehind)) return Store(piece.x, xBehind);
    }
    WalkPiece(piece, y, end, *this);
  }

  void Run(LivePiece& piece, int a, int b, OutlineSide side, std::int32_t y, std::int32_t end) {
    queue_.Add(piece, a, b, side, y, end);
  }

  void OneRow(std::int32_t y, const Cut& cut, bool wild) {
    const std::int32_t row = y - band_.FirstRow();
    Samples run;
    if (!MakeSamples(cut, band_.Job().lo, band_.Job().hi, run)) return;
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

  // The band's pixel rows [0, pixelRows).
  __attribute__((noinline)) void Finish(std::int32_t pixelRows) {
    queue_.Flush();
    const PictureRows rows(band_, painter_, pixelRows);
    const ChunkPass<Q> pass(band_, painter_);
    const auto draw = [&](const WordColumn* columns, std::int32_t count) { pass.Draw(rows, columns, count); };
    band_.template ForTouched<true>(pixelRows, rows.MeetInStrip(), draw);
  }

 private:
  static constexpr OutlineSide kNone = OutlineSide::kNone;

  Band<Q> band_;
  Painter<ChunkPass<Q>::kPixels> painter_;
  MarkQueue<Q, false> queue_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
