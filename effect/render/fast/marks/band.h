// A band of output rows under work, as bits: which subsamples the pieces cover, and where the outline crosses.
//
// The rows of a stroke are drawn in bands that stay in the processor's cache. All pieces leave their marks in a band
// before its pixels are made. Marks are bits, one a cell (see grid.h), in words that hold whole pixels (of 4 x 4 cells:
// 16 pixels). A band is made of strips, each of one pixel row (or of as many as fill a vector with their rows). The
// words of one strip of n rows and one word column lie together:
//
//   cover  row 0 .. row n-1     1: a sample of some piece
//   cross  row 0 .. row n-1     toggled by every outline crossing
//
// A sample is drawn where the number of crossings up to and including its own cell is odd: the parity of a whole word
// comes from six shifts or one product, and the last bit is carried on to the words that follow.
//
// A bit for every word column of a strip tells whether it was touched; the rest is never looked at. All is
// zero between bands, whoever reads the marks clears them.
#pragma once

#include "effect/render/fast/pieces/grid.h"
#include "effect/render/simd/words.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// Pixel rows of a strip: as many as fill a group of rows of cells.
template <int P>
inline constexpr std::int32_t kStripPixelRows = Larger(kRowGroup / P, 1);
template <int P>
inline constexpr std::int32_t kStripRows = P* kStripPixelRows<P>;
inline constexpr std::int32_t kWordCells = 64;

// Where one row of cells of a band has its words. In strips of n rows word column w is at w * 2n in `cover` and
// `cross`, at w * n in `twice`.
struct RowPlace {
  std::uint64_t *cover, *cross;
  std::uint64_t* twice;  // cells that more than one piece covers; only for profiles that vary
};

// Rows and columns here are those of cells, from the band's first row and from the first counter's first column.
template <int P>
class Band {
 public:
  Band(const DrawJob& job, std::int32_t firstRow)
      : job_(job),
        grid_(job),
        firstRow_(firstRow),
        firstColumn_(job.firstPixel * job.quality),
        shape_(job.band.shape),
        twice_(job.band.twice),
        dirty_(job.band.dirty),
        stripStride_(job.wordStride * kStripPixelRows<P>),
        dirtyStride_(job.dirtyStride) {}

  const DrawJob& Job() const { return job_; }
  const Grid<P>& Sizes() const { return grid_; }
  // In samples, unfolded.
  std::int32_t FirstRow() const { return firstRow_; }
  std::int32_t FirstColumn() const { return firstColumn_; }
  std::int32_t FirstPixelRow() const { return firstRow_ / grid_.Quality(); }  // unfolded; firstRow_ is a multiple

  static std::int32_t PixelRowOf(std::int32_t row) { return row / P; }
  static std::int32_t StripOf(std::int32_t row) { return row / kStripRows<P>; }
  static std::int32_t RowOfStrip(std::int32_t row) { return row % kStripRows<P>; }
  ORVANDEL_INLINE RowPlace PlaceOf(std::int32_t row) const {
    std::uint64_t* cover = Words(StripOf(row), 0) + RowOfStrip(row);
    std::uint64_t* twice = twice_ == nullptr ? nullptr : Twice(StripOf(row), 0) + RowOfStrip(row);
    return {cover, cover + kStripRows<P>, twice};
  }

  // Words of one strip of n rows and word column: cover at [0, n), crossings at [n, 2n).
  std::uint64_t* Words(std::int32_t strip, std::int32_t word) const {
    return shape_ + static_cast<std::size_t>(strip) * stripStride_ + WordOffset(word);
  }
  std::uint64_t* WordsOf(const WordColumn& at) const { return Words(at.strip, at.word); }
  std::uint64_t* Twice(std::int32_t strip, std::int32_t word) const {
    return twice_ + static_cast<std::size_t>(strip) * (stripStride_ / 2) + WordOffset(word) / 2;
  }
  std::uint16_t* Smallest(std::int32_t strip, std::int32_t word) const {
    return job_.band.smallest + 64 * (static_cast<std::size_t>(strip) * (stripStride_ / 2) + WordOffset(word) / 2);
  }
  // Whether the strip has cells that are not simple, see profile_band.h. So it has as soon as two pieces cover one
  // cell; of `twice` nothing is set elsewhere.
  std::uint8_t& Bad(std::int32_t strip) const { return job_.band.badStrips[strip]; }
  std::uint64_t* Dirty(std::int32_t strip) const { return dirty_ + static_cast<std::size_t>(strip) * dirtyStride_; }
  std::uint16_t* Counters(std::int32_t pixelRow) const {
    return job_.band.counters + static_cast<std::size_t>(pixelRow) * job_.counterStride;
  }

  // Word columns firstWord to lastWord of a strip have been touched.
  ORVANDEL_INLINE void Touch(std::int32_t strip, std::int32_t firstWord, std::int32_t lastWord) const {
    constexpr std::uint64_t kAll = ~std::uint64_t{0};
    const auto first = static_cast<std::uint32_t>(firstWord), last = static_cast<std::uint32_t>(lastWord);
    std::uint64_t* dirty = Dirty(strip) + first / 64;
    const std::uint64_t* lastDirty = Dirty(strip) + last / 64;
    std::uint64_t bits = kAll << first % 64;
    for (; dirty < lastDirty; ++dirty) {
      *dirty |= bits;
      bits = kAll;
    }
    *dirty |= bits & kAll >> (63 - last % 64);
  }

  // Hands over the touched word columns of pixel rows [0, pixelRows), strip by strip, from left to right, whole strips
  // at a time or, with `oneByOne`, one: process(columns, count). Long lists spare mispredictions where strips end. With
  // `forget`, they count as untouched from then on.
  template <bool forget, typename Process>
  ORVANDEL_INLINE void ForTouched(std::int32_t pixelRows, bool oneByOne, Process process) const {
    WordColumn* columns = job_.band.columns;
    std::int32_t count = 0;
    const std::int32_t strips = StripsOf(pixelRows);
    for (std::int32_t strip = 0; strip < strips; ++strip) {
      std::uint64_t* dirty = Dirty(strip);
      for (std::size_t i = 0; i < dirtyStride_; ++i) {
        // As they lie in memory: a column is the word's number and above it the strip's.
        static_assert(sizeof(WordColumn) == sizeof(std::uint32_t));
        const auto first = static_cast<std::uint32_t>(64 * i) | static_cast<std::uint32_t>(strip) << 16;
        count += ListSetBits(dirty[i], first, reinterpret_cast<std::uint32_t*>(columns + count));
        if constexpr (forget) dirty[i] = 0;
      }
      if (count + job_.words <= job_.columnRoom && strip + 1 < strips && !oneByOne) continue;
      process(columns, count);
      count = 0;
    }
  }

  static std::int32_t StripsOf(std::int32_t pixelRows) {
    return (pixelRows + kStripPixelRows<P> - 1) / kStripPixelRows<P>;
  }
  // The word's first pixel, as a counter.
  std::int32_t FirstPixelOf(std::int32_t word) const { return word * (kWordCells / P); }

 private:
  std::size_t WordOffset(std::int32_t word) const {
    return static_cast<std::size_t>(word) * static_cast<std::size_t>(2 * kStripRows<P>);
  }

  const DrawJob& job_;
  Grid<P> grid_;
  std::int32_t firstRow_, firstColumn_;
  std::uint64_t *shape_, *twice_, *dirty_;
  std::size_t stripStride_, dirtyStride_;
};

// Which cells lie inside the shape, word column by word column from left to right.
template <int P>
class InsideWalk {
 public:
  using Words = StripWords<kStripRows<P>>;

  // Cells that are covered and cells inside; the marks are cleared.
  ORVANDEL_INLINE void Next(const Band<P>& band, const WordColumn& at, Words& cover, Words& inside) {
    constexpr std::int32_t kRows = kStripRows<P>;
    std::uint64_t* words = band.WordsOf(at);
    if (at.strip != strip_) carry_ = Words::Zeros();
    strip_ = at.strip;
    cover = Words::Load(words);
    Words::Zeros().StoreTo(words);
    inside = Words::Load(words + kRows);
    inside = inside.Parities() ^ carry_;
    carry_ = inside.HighestBits();
    Words::Zeros().StoreTo(words + kRows);
  }

 private:
  Words carry_ = Words::Zeros();  // all ones in rows where the words so far leave us inside
  std::int32_t strip_ = -1;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
