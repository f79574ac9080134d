// Bands of a stroke whose alpha varies across its width.
//
// Two passes over the band's pieces:
// 1. Their runs as bits, as for a flat profile, and also the cells that more than one piece covers.
//    A cell is simple when one piece covers it and it lies inside the shape. Nearly all are.
// 2. Their samples. A simple cell's alpha goes straight to the pixel's counter: which other cells there are does not
//    matter. The indices of all other cells meet in a plane of their own, by their minimum; those inside are counted
//    at the end.
#pragma once

#include "effect/render/fast/marks/band.h"
#include "effect/render/fast/marks/shape_pass.h"
#include "effect/render/fast/pixels/picture_rows.h"
#include "effect/render/fast/pixels/pixels.h"
#include "effect/render/fast/samples/sample_pass.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

template <int P>
class ProfileBand {
 public:
  // Pixels blended at a time.
  static constexpr int kPixels = kLanes;

  ProfileBand(const DrawJob& job, std::int32_t firstRow)
      : band_(job, firstRow), painter_(job), shape_(band_), samples_(band_) {}

  void Walk(const LivePiece& piece, std::int32_t y, std::int32_t end) { shape_.Walk(piece, y, end); }

  void Resolve(std::int32_t pixelRows) { shape_.Resolve(pixelRows); }

  void WalkAgain(LivePiece& piece, std::int32_t y, std::int32_t end) { WalkPiece(piece, y, end, samples_); }

  void Finish(std::int32_t pixelRows) {
    samples_.Flush();
    const PictureRows rows(band_, painter_, pixelRows);
    const auto finish = [&](const WordColumn* columns, std::int32_t count) {
      for (std::int32_t i = 0; i < count; ++i) {
        for (std::int32_t k = 0; k < kRows; ++k) {
          rows.Prefetch(columns[i].strip * kRows + k, band_.FirstPixelOf(columns[i].word));
        }
        samples_.FinishColumn(columns[i]);
      }
      Blend(rows, columns, count);
    };
    band_.template ForTouched<true>(pixelRows, rows.MeetInStrip(), finish);
    for (std::int32_t strip = 0; strip < Band<P>::StripsOf(pixelRows); ++strip) band_.Bad(strip) = 0;
  }

 private:
  static constexpr std::int32_t kRows = kStripPixelRows<P>;

  void Blend(const PictureRows& rows, const WordColumn* columns, std::int32_t count) const {
    const auto blend = [&](std::int32_t i, std::int32_t k) {
      BlendWord(rows, columns[i].strip * kRows + k, columns[i].word);
    };
    if (rows.MeetInStrip()) {
      for (std::int32_t k = 0; k < kRows; ++k) {
        for (std::int32_t i = 0; i < count; ++i) blend(i, k);
      }
    } else {
      for (std::int32_t i = 0; i < count; ++i) {
        for (std::int32_t k = 0; k < kRows; ++k) blend(i, k);
      }
    }
  }

  // Whole vectors of counters: what belongs to words beside this one is blended with it.
  ORVANDEL_INLINE void BlendWord(const PictureRows& rows, std::int32_t pixelRow, std::int32_t word) const {
    std::int32_t first = band_.FirstPixelOf(word);
    const std::int32_t end = first + kWordCells / P;
    if constexpr (P > 4) first &= ~(kPixels - 1);  // several words a vector
    std::uint16_t* counters = band_.Counters(pixelRow);
    for (std::int32_t pixel = first; pixel < end; pixel += kPixels) {
      const auto sums = LoadWidened<Vec<std::uint32_t, kPixels>>(counters + pixel);
      if (!Any(sums)) continue;
      __builtin_memset(counters + pixel, 0, kPixels * sizeof *counters);
      painter_.Blend(rows[pixelRow], pixel, ToFloats(sums));
    }
  }

  Band<P> band_;
  Painter<kPixels> painter_;
  ShapePass<P> shape_;
  SamplePass<P> samples_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
