// From samples to cells: where a band keeps what it knows about a sample.
//
// A pixel has q x q samples and P x P cells, P being q or the next power of two, so that one code serves all qualities:
// cells are shifted and masked where samples would be divided. A pixel's first q cells of a row are its samples; a cell
// behind them has nothing of its own. A run of samples that goes on to the next pixel covers it, as it covers the
// pixel's last sample: whatever is found for the one holds for the other, until samples are counted, which leaves it
// out. Rows of cells behind the first q of a pixel are never marked.
//
// Columns and rows here count from the band's first, and are >= 0.
#pragma once

#include "effect/render/fast/job/stroke_job.h"
#include "effect/render/simd/simd.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// `full`: known to have no gaps, for code that should not ask.
template <int P, bool full = P <= 2>
class Grid {
 public:
  explicit Grid(const DrawJob& job) : quality_(job.quality), perSample_(1.0F / static_cast<float>(job.quality)) {}

  std::int32_t Quality() const { return full ? P : quality_; }
  // Cells of a pixel, in one direction, that are no samples.
  std::int32_t Gap() const { return P - Quality(); }

  // Pixels of samples: numbers below 2^19, for which the product's error is far less than half a sample.
  std::int32_t PixelOf(std::int32_t sample) const {
    if (Gap() == 0) return sample / P;
    return static_cast<std::int32_t>((static_cast<float>(sample) + 0.5F) * perSample_);
  }
  template <typename V>
  ORVANDEL_INLINE V PixelsOf(const V& samples) const {
    if (Gap() == 0) return samples / P;
    return Truncate((ToFloats(samples) + 0.5F) * perSample_);
  }
  // Of one number or of several.
  std::int32_t CellOf(std::int32_t sample) const { return Gap() == 0 ? sample : sample + PixelOf(sample) * Gap(); }
  template <typename V>
  ORVANDEL_INLINE V CellsOf(const V& samples) const {
    return Gap() == 0 ? samples : samples + PixelsOf(samples) * Gap();
  }
  // How many samples lie before a cell.
  template <typename V>
  ORVANDEL_INLINE V SamplesBefore(const V& cell) const {
    if (Gap() == 0) return cell;
    return cell / P * Quality() + Smaller(cell & (P - 1), V{} + Quality());
  }
  // Whether rows of cells are rows of samples.
  template <typename V>
  ORVANDEL_INLINE auto HasSamples(const V& cell) const {
    return (cell & (P - 1)) < Quality();
  }
  // The rows of samples that are rows of cells from `cell` on, and kNoRow where none is.
  template <typename V>
  ORVANDEL_INLINE V RowsFrom(std::int32_t cell) const {
    const V cells = WrappingSum(LaneNumbers<V>(), Spread<V>(cell));
    if (Gap() == 0) return cells;
    return HasSamples(cells) ? cells - cells / P * Gap() : V{} + kNoRow;
  }
  // The cells of a word that are samples.
  std::uint64_t SamplesOfWord() const {
    constexpr std::uint64_t kAll = ~std::uint64_t{0}, kFirstOfPixels = kAll / (kAll >> (64 - P));
    return (kAll >> (64 - Quality())) * kFirstOfPixels;
  }

  static constexpr std::int32_t kNoRow = 1 << 30;  // behind the rows of any edge

 private:
  std::int32_t quality_;
  float perSample_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
