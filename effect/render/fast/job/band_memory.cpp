#include "effect/render/fast/job/band_memory.h"

#include <algorithm>
#include <cstring>

namespace orvandel::fast {
namespace {

constexpr std::size_t kBitsPerWord = 64;
constexpr std::size_t kWordsPerLine = 8;

// Whole strips, which have up to eight pixel rows; the last band may have one row more.
std::size_t Rows(const BandPlan& plan) { return (static_cast<std::size_t>(plan.rows) + 1 + 7) / 8 * 8; }

std::size_t MinimumCells(const BandPlan& plan, const RowSizes& sizes) {
  return Rows(plan) * sizes.wordStride / 2 * kBitsPerWord;
}

std::size_t Columns(const RowSizes& sizes) { return static_cast<std::size_t>(sizes.columnRoom); }

// A batch pads short runs to the longest with zeros, and rows without a run with zeros behind the band.
std::size_t Counters(const BandPlan& plan, const RowSizes& sizes) {
  return (Rows(plan) + 1 + kMostRowsOfBatch) * sizes.counterStride;
}

}  // namespace

RowSizes::RowSizes(std::int32_t words, std::int32_t quality)
    // Strides are odd numbers of cache lines: rows of a tall piece spread over the cache's sets.
    : wordStride((((static_cast<std::size_t>(words) + 1) * static_cast<std::size_t>(2 * PitchOf(quality)) + 7) /
                      kWordsPerLine |
                  1) *
                 kWordsPerLine),
      dirtyStride((static_cast<std::size_t>(words) + 63) / 64),
      counterStride(static_cast<std::size_t>(words) * (kBitsPerWord / static_cast<std::size_t>(PitchOf(quality))) + 32),
      columnRoom(words + 128) {}

std::int32_t BandRows(std::int32_t pictureWidth, std::int32_t quality, bool varies) {
  // Marks are written all over, minima only where cells are not simple: most of their memory is never touched.
  constexpr std::size_t kMostMarks = 2 << 20, kMostMinima = 6 << 20;
  const RowSizes sizes(WordsOfPicture(pictureWidth, quality), quality);
  const std::size_t words = sizes.wordStride + (varies ? sizes.wordStride / 2 : 0);
  const std::size_t minima = varies ? sizes.wordStride / 2 * kBitsPerWord : 0;
  const std::size_t fit = std::min(kMostMarks / (words * sizeof(std::uint64_t)),
                                   minima == 0 ? kMostBandRows : kMostMinima / (minima * sizeof(std::uint16_t)));
  const std::size_t rows = std::clamp<std::size_t>(fit, 1, kMostBandRows);
  // Whole groups of eight rows of cells.
  const std::size_t step = std::max<std::size_t>(8 / static_cast<std::size_t>(PitchOf(quality)), 2);
  return static_cast<std::int32_t>(rows < step ? 1 : rows / step * step);
}

std::int32_t WordsFor(std::int32_t columns, std::int32_t quality) {
  return columns / (static_cast<std::int32_t>(kBitsPerWord) / PitchOf(quality) * quality) + 1;
}

std::int32_t WordsOfPicture(std::int32_t width, std::int32_t quality) {
  const std::int64_t columns = (std::int64_t{width} + 1) * quality + 1;
  return WordsFor(static_cast<std::int32_t>(std::min<std::int64_t>(columns, kWidestStroke)), quality);
}

void LayBand(Arena& arena, const BandPlan& plan, BandMemory& memory) {
  const RowSizes sizes(plan.words, plan.quality);
  const std::size_t rows = Rows(plan);
  arena.Cut(memory.shape, rows * sizes.wordStride);
  arena.Cut(memory.dirty, rows * sizes.dirtyStride);
  arena.Cut(memory.samples,
            Columns(sizes) * static_cast<std::size_t>(SampleBytes(PitchOf(plan.quality))) + Arena::kLine);
  arena.Cut(memory.chunks, Columns(sizes) * static_cast<std::size_t>(MostChunks(PitchOf(plan.quality))) + 1);
  arena.Cut(memory.columns, Columns(sizes) + kColumnSlack);
  if (!plan.varies) return;
  arena.Cut(memory.twice, rows * sizes.wordStride / 2);
  arena.Cut(memory.counters, Counters(plan, sizes));
  arena.Cut(memory.badStrips, rows + kMostRowsOfBatch);
  arena.Cut(memory.smallest, MinimumCells(plan, sizes));
}

void ClearBand(const BandPlan& plan, const BandMemory& memory) {
  const RowSizes sizes(plan.words, plan.quality);
  const std::size_t rows = Rows(plan);
  std::memset(memory.shape, 0, rows * sizes.wordStride * sizeof *memory.shape);
  std::memset(memory.dirty, 0, rows * sizes.dirtyStride * sizeof *memory.dirty);
  if (!plan.varies) return;
  std::memset(memory.twice, 0, rows * sizes.wordStride / 2 * sizeof *memory.twice);
  std::memset(memory.badStrips, 0, rows + kMostRowsOfBatch);
  std::memset(memory.counters, 0, Counters(plan, sizes) * sizeof *memory.counters);
}

}  // namespace orvandel::fast
