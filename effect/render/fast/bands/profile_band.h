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

template <int Q>
class ProfileBand {
 public:
  // Pixels blended at a time.
  static constexpr int kPixels = Q != 0 ? kLanes : kLanes == 4 ? 4 : 8;
  using P = Pixels<kPixels>;

  ProfileBand(const DrawJob& job, std::int32_t firstRow)
      : band_(job, firstRow), painter_(job), shape_(band_), samples_(band_) {}

  void Walk(const LivePiece& piece, std::int32_t y, std::int32_t end) { shape_.Walk(piece, y, end); }

  void Resolve(std::int32_t pixelRows) { shape_.Resolve(pixelRows); }

  void WalkAgain(LivePiece& piece, std::int32_t y, std::int32_t end) { WalkPiece(piece, y, end, samples_); }

  void Finish(std::int32_t pixelRows) {
    samples_.Flush();
    const PictureRows rows(band_, painter_, pixelRows);
    band_.template ForLines<true>(pixelRows, rows.MeetInStrip(), [&](const Line* lines, std::int32_t count) {
      for (std::int32_t i = 0; i < count; ++i) {
        for (std::int32_t k = 0; k < kStripPixelRows<Q>; ++k) {
          rows.Expect(lines[i].strip * kStripPixelRows<Q> + k, band_.FirstPixelOf(lines[i].word));
        }
        samples_.FinishLine(lines[i]);
      }
      BlendLines(rows, lines, count);
    });
    for (std::int32_t strip = 0; strip < Band<Q>::StripsOf(pixelRows); ++strip) band_.Bad(strip) = 0;
  }

 private:
  void BlendLines(const PictureRows& rows, const Line* lines, std::int32_t count) const {
    constexpr std::int32_t kRows = kStripPixelRows<Q>;
    if (rows.MeetInStrip()) {
      for (std::int32_t k = 0; k < kRows; ++k) {
        for (std::int32_t i = 0; i < count; ++i) BlendLine(rows, lines[i].strip * kRows + k, lines[i].word);
      }
    } else {
      for (std::int32_t i = 0; i < count; ++i) {
        for (std::int32_t k = 0; k < kRows; ++k) BlendLine(rows, lines[i].strip * kRows + k, lines[i].word);
      }
    }
  }

  // Whole vectors of counters: what belongs to lines beside this one is blended with it.
  ORVANDEL_INLINE void BlendLine(const PictureRows& rows, std::int32_t pixelRow, std::int32_t word) const {
    std::int32_t first = band_.FirstPixelOf(word);
    const std::int32_t end = first + band_.Sizes().PixelsPerWord();
    if constexpr (Q > 4) first &= ~(kPixels - 1);  // several lines a vector
    std::uint16_t* counters = band_.Counters(pixelRow);
    for (std::int32_t pixel = first; pixel < end; pixel += kPixels) {
      const typename P::Words sums = P::LoadHalves(counters + pixel);
      if (!P::Any((typename P::Ints)sums)) continue;
      __builtin_memset(counters + pixel, 0, kPixels * sizeof *counters);
      painter_.Blend(rows[pixelRow], pixel, P::ToFloats(sums));
    }
  }

  Band<Q> band_;
  Painter<kPixels> painter_;
  ShapePass<Q> shape_;
  SamplePass<Q> samples_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
