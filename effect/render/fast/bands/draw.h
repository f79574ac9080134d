// A stroke, band by band.
#pragma once

#include "effect/render/fast/bands/flat_band.h"
#include "effect/render/fast/bands/profile_band.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int P, bool flat>
class StrokeDrawing {
 public:
  explicit StrokeDrawing(DrawJob& job) : job_(job), loader_(job), rowsPerBand_(job.bandRows * job.quality) {}

  // Sorts the pieces by the band in which they begin to be drawn. Their order within it does not matter.
  void ChainPieces() {
    for (std::int32_t band = 0; band < job_.bandCount; ++band) job_.firstOfBand[band] = -1;
    const StrokeEdges& edges = job_.edges;
    for (std::int32_t i = edges.count - 1; i >= 0; --i) {
      const std::int32_t first = Smaller(Smaller(edges.outline.first[i], edges.offset.first[i]),
                                         Smaller(edges.ruling.first[i], edges.ruling.first[i - 1]));
      const std::int32_t end = Larger(Larger(edges.outline.end[i], edges.offset.end[i]),
                                      Larger(edges.ruling.end[i], edges.ruling.end[i - 1]));
      if (first >= job_.endRow || end <= job_.firstRow) continue;
      const std::int32_t row = Larger(first, job_.firstRow) - job_.firstBand * rowsPerBand_;
      std::int32_t& head = job_.firstOfBand[Smaller(row / rowsPerBand_, job_.bandCount - 1)];
      job_.nextInBand[i] = head;
      head = i;
    }
  }

  void DrawBand(std::int32_t number) {
    for (std::int32_t i = job_.firstOfBand[number]; i >= 0; i = job_.nextInBand[i]) {
      loader_.Load(i, job_.live[job_.liveCount++]);
    }
    const std::int32_t count = job_.liveCount;
    if (count == 0) return;
    const std::int32_t bandRow = (job_.firstBand + number) * rowsPerBand_;
    const bool isLast = number == job_.bandCount - 1;
    const std::int32_t y = Larger(bandRow, job_.firstRow);
    const std::int32_t end = isLast ? job_.endRow : Smaller(bandRow + rowsPerBand_, job_.endRow);
    const std::int32_t pixelRows = (end - bandRow + job_.quality - 1) / job_.quality;
    if constexpr (flat) {
      FlatBand<P> band(job_, bandRow);
      for (std::int32_t i = 0; i < count; ++i) band.Walk(job_.live[i], y, end);
      band.Finish(pixelRows);
    } else {
      ProfileBand<P> band(job_, bandRow);
      for (std::int32_t i = 0; i < count; ++i) band.Walk(job_.live[i], y, end);
      band.Resolve(pixelRows);
      for (std::int32_t i = 0; i < count; ++i) band.WalkAgain(job_.live[i], y, end);
      band.Finish(pixelRows);
    }
    DropEnded(end);
  }

 private:
  void DropEnded(std::int32_t y) {
    std::int32_t kept = 0;
    for (std::int32_t i = 0; i < job_.liveCount; ++i) {
      if (job_.live[i].lastEnd <= y) continue;
      if (kept != i) job_.live[kept] = job_.live[i];
      ++kept;
    }
    job_.liveCount = kept;
  }

  DrawJob& job_;
  PieceLoader loader_;
  std::int32_t rowsPerBand_;
};

inline void Begin(DrawJob& job) { StrokeDrawing<1, true>(job).ChainPieces(); }

template <int P>
inline void DrawBandAt(DrawJob& job, std::int32_t band) {
  if (job.flat) {
    StrokeDrawing<P, true>(job).DrawBand(band);
  } else {
    StrokeDrawing<P, false>(job).DrawBand(band);
  }
}

inline void DrawBand(DrawJob& job, std::int32_t band) {
  switch (PitchOf(job.quality)) {
    case 1:
      return DrawBandAt<1>(job, band);
    case 2:
      return DrawBandAt<2>(job, band);
    case 4:
      return DrawBandAt<4>(job, band);
    case 8:
      return DrawBandAt<8>(job, band);
    default:
      return DrawBandAt<16>(job, band);
  }
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS
