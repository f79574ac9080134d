// A stroke, band by band.
#pragma once

#include "effect/render/fast/flat_band.h"
#include "effect/render/fast/profile_band.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int Q, bool flat>
class StrokeDrawing {
 public:
  explicit StrokeDrawing(const DrawJob& job) : job_(job), loader_(job) {
    rowsPerBand_ = job.bandRows * job.quality;
    const std::int32_t pixelRow = (job.firstRow >= 0 ? job.firstRow : job.firstRow - job.quality + 1) / job.quality;
    firstBandRow_ = pixelRow * job.quality;
  }

  void Run() {
    ChainPieces();
    for (std::int32_t band = 0; band < job_.bandCount; ++band) DrawBand(band);
  }

 private:
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
      std::int32_t& head = job_.firstOfBand[(Larger(first, job_.firstRow) - firstBandRow_) / rowsPerBand_];
      job_.nextInBand[i] = head;
      head = i;
    }
  }

  void DrawBand(std::int32_t number) {
    for (std::int32_t i = job_.firstOfBand[number]; i >= 0; i = job_.nextInBand[i]) {
      loader_.Load(i, job_.live[liveCount_++]);
    }
    if (liveCount_ == 0) return;
    const std::int32_t bandRow = firstBandRow_ + number * rowsPerBand_;
    const std::int32_t y = Larger(bandRow, job_.firstRow), end = Smaller(bandRow + rowsPerBand_, job_.endRow);
    const std::int32_t pixelRows = (end - bandRow + job_.quality - 1) / job_.quality;
    if constexpr (flat) {
      FlatBand<Q> band(job_, bandRow);
      for (std::int32_t i = 0; i < liveCount_; ++i) band.Walk(job_.live[i], y, end);
      band.Finish(pixelRows);
    } else {
      ProfileBand<Q> band(job_, bandRow);
      for (std::int32_t i = 0; i < liveCount_; ++i) band.Walk(job_.live[i], y, end);
      band.Resolve(pixelRows);
      for (std::int32_t i = 0; i < liveCount_; ++i) band.WalkAgain(job_.live[i], y, end);
      band.Finish(pixelRows);
    }
    DropEnded(end);
  }

  void DropEnded(std::int32_t y) {
    std::int32_t kept = 0;
    for (std::int32_t i = 0; i < liveCount_; ++i) {
      if (job_.live[i].lastEnd <= y) continue;
      if (kept != i) job_.live[kept] = job_.live[i];
      ++kept;
    }
    liveCount_ = kept;
  }

  const DrawJob& job_;
  PieceLoader loader_;
  std::int32_t rowsPerBand_, firstBandRow_;
  std::int32_t liveCount_ = 0;
};

template <int Q>
inline void DrawAt(const DrawJob& job) {
  if (job.flat) {
    StrokeDrawing<Q, true>(job).Run();
  } else {
    StrokeDrawing<Q, false>(job).Run();
  }
}

inline void Draw(const DrawJob& job) {
  switch (job.quality) {
    case 1:
      return DrawAt<1>(job);
    case 2:
      return DrawAt<2>(job);
    case 4:
      return DrawAt<4>(job);
    case 8:
      return DrawAt<8>(job);
    case 16:
      return DrawAt<16>(job);
    default:
      return DrawAt<0>(job);
  }
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS
