// A band of output rows under work, as bits: which subsamples the pieces cover, and where the outline crosses.
//
// The rows of a stroke are drawn in bands that stay in the processor's cache. All pieces leave their marks in a band
// before its pixels are made. Marks are bits, one a subsample, in words that hold whole pixels (quality 4: 16 pixels of
// 4 bits). The words of one pixel row and one word column lie together, for quality 4 in one cache line:
//
//   cover  row 0 .. row q-1     1: a sample of some piece
//   cross  row 0 .. row q-1     toggled by every outline crossing
//
// A sample is drawn where the number of crossings up to and including its own cell is odd: the parity of a whole word
// comes from six shifts, and the last bit is carried on to the words that follow.
//
// A byte for every word column of a pixel row tells whether it was touched; the rest is never looked at. All is
// zero between bands, whoever reads the marks clears them.
#pragma once

#include "effect/render/fast/four_rows.h"
#include "effect/render/fast/lanes.h"
#include "effect/render/fast/pixels.h"
#include "effect/render/fast/stroke_job.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

inline constexpr std::int32_t kLargestQuality = 16;

// Sizes that follow from the quality; Q = 0 stands for those without code of their own.
template <int Q>
class Grid {
 public:
  explicit Grid(const DrawJob& job) : quality_(job.quality), bitsPerWord_(job.quality * job.pixelsPerWord) {}

  std::int32_t Quality() const { return Q != 0 ? Q : quality_; }
  std::int32_t BitsPerWord() const { return Q != 0 ? 64 : bitsPerWord_; }
  std::int32_t PixelsPerWord() const { return BitsPerWord() / Quality(); }
  // `x` >= 0
  std::int32_t WordOf(std::int32_t x) const {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(x) / static_cast<std::uint32_t>(BitsPerWord()));
  }
  std::int32_t RowOf(std::int32_t y) const {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(y) / static_cast<std::uint32_t>(Quality()));
  }
  std::int32_t PixelOf(std::int32_t x) const { return RowOf(x); }

 private:
  std::int32_t quality_, bitsPerWord_;
};

// Where one subsample row of a band has its words; word column w is at w * 2q in `cover` and `cross`, at w * q in
// `twice`.
struct RowPlace {
  std::uint64_t *cover, *cross;
  std::uint64_t* twice;  // cells that more than one piece covers; only for profiles that vary
};

// Rows and columns here count from the band's first subsample row and from the first counter's first column.
template <int Q>
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
        wordStride_(job.wordStride),
        dirtyStride_(job.dirtyStride) {}

  const DrawJob& Job() const { return job_; }
  const Grid<Q>& Sizes() const { return grid_; }
  std::int32_t FirstRow() const { return firstRow_; }
  std::int32_t FirstColumn() const { return firstColumn_; }
  std::int32_t FirstPixelRow() const { return firstRow_ / grid_.Quality(); }  // unfolded; firstRow_ is a multiple

  ORVANDEL_INLINE RowPlace PlaceOf(std::int32_t row) const {
    const std::int32_t pixelRow = grid_.RowOf(row);
    const auto subRow = static_cast<std::size_t>(row - pixelRow * grid_.Quality());
    std::uint64_t* cover = Words(pixelRow, 0) + subRow;
    return {cover, cover + grid_.Quality(), twice_ == nullptr ? nullptr : Twice(pixelRow, 0) + subRow};
  }

  // Words of one pixel row and word column: cover at [0, q), crossings at [q, 2q).
  std::uint64_t* Words(std::int32_t pixelRow, std::int32_t word) const {
    return shape_ + static_cast<std::size_t>(pixelRow) * wordStride_ + WordOffset(word);
  }
  std::uint64_t* Twice(std::int32_t pixelRow, std::int32_t word) const {
    return twice_ + static_cast<std::size_t>(pixelRow) * (wordStride_ / 2) + WordOffset(word) / 2;
  }
  std::uint16_t* Smallest(std::int32_t pixelRow, std::int32_t word) const {
    return job_.band.smallest + 64 * (static_cast<std::size_t>(pixelRow) * (wordStride_ / 2) + WordOffset(word) / 2);
  }
  std::uint8_t* Dirty(std::int32_t pixelRow) const {
    return dirty_ + static_cast<std::size_t>(pixelRow) * dirtyStride_;
  }
  std::uint16_t* Counters(std::int32_t pixelRow) const {
    return job_.band.counters + static_cast<std::size_t>(pixelRow) * job_.counterStride;
  }

  // Word columns firstWord to lastWord of a pixel row have been touched.
  ORVANDEL_INLINE void Touch(std::int32_t pixelRow, std::int32_t firstWord, std::int32_t lastWord) const {
    std::uint8_t* dirty = Dirty(pixelRow);
    for (std::int32_t word = firstWord; word <= lastWord; ++word) dirty[word] = 1;
  }
  // `word` and perhaps the one behind it.
  ORVANDEL_INLINE void TouchTwo(std::int32_t pixelRow, std::int32_t word, bool both) const {
    std::uint8_t* dirty = Dirty(pixelRow) + word;
    dirty[0] = 1;
    dirty[1] |= static_cast<std::uint8_t>(both);
  }

  // Hands over the touched word columns of pixel rows [0, pixelRows) as lists of lines, row by row, from left to right,
  // whole rows at a time: process(lines, count). Long lists keep the processor from guessing where each row ends.
  // With `forget`, they count as untouched from then on, and their pixels are on the way to the cache: the picture's
  // lines are scattered and seldom there.
  template <bool forget, typename Process>
  ORVANDEL_INLINE void ForLines(const Painter& painter, std::int32_t pixelRows, Process process) const {
    Line* lines = job_.band.lines;
    std::int32_t count = 0;
    for (std::int32_t pixelRow = 0; pixelRow < pixelRows; ++pixelRow) {
      std::uint8_t* row = painter.Row(FirstPixelRow() + pixelRow);
      std::uint8_t* dirty = Dirty(pixelRow);
      std::uint64_t goesOn = 0;
      for (std::size_t group = 0; group < dirtyStride_; group += 64) {
        for (std::uint64_t bits = SetBytes(dirty + group); bits != 0; bits &= bits - 1) {
          const std::int32_t word = static_cast<std::int32_t>(group) + __builtin_ctzll(bits);
          lines[count++] = {Words(pixelRow, word), row, pixelRow, word, goesOn};
          goesOn = ~std::uint64_t{0};
          if constexpr (forget) __builtin_prefetch(row + static_cast<std::ptrdiff_t>(FirstPixelOf(word)) * 4);
        }
      }
      if constexpr (forget) __builtin_memset(dirty, 0, dirtyStride_);
      if (count + job_.words <= job_.lineRoom && pixelRow + 1 < pixelRows) continue;
      process(lines, count);
      count = 0;
    }
  }

  // The word's first pixel, as a counter.
  std::int32_t FirstPixelOf(std::int32_t word) const { return word * grid_.PixelsPerWord(); }

 private:
  // Bit i: byte i of 64 is not 0; they are 0 or 1.
  static std::uint64_t SetBytes(const std::uint8_t* bytes) {
#if defined(__AVX512BW__)
    const __m512i all = _mm512_loadu_si512(bytes);
    return _mm512_test_epi8_mask(all, all);
#else
    std::uint64_t bits = 0;
    for (int i = 0; i < 64; i += 8) {
      std::uint64_t eight;
      __builtin_memcpy(&eight, bytes + i, 8);
      // The product brings byte k's bit to bit 56 + k.
      bits |= (eight * 0x0102040810204080U >> 56) << i;
    }
    return bits;
#endif
  }

  std::size_t WordOffset(std::int32_t word) const {
    return static_cast<std::size_t>(word) * static_cast<std::size_t>(2 * grid_.Quality());
  }

  const DrawJob& job_;
  Grid<Q> grid_;
  std::int32_t firstRow_, firstColumn_;
  std::uint64_t *shape_, *twice_;
  std::uint8_t* dirty_;
  std::size_t wordStride_, dirtyStride_;
};

// Sets the marks of one run; columns count from the band's first.
template <int Q, bool countTwice>
ORVANDEL_INLINE void MarkRun(const Band<Q>& band, std::int32_t row, std::int32_t first, std::int32_t last,
                             OutlineSide side) {
  const Grid<Q>& grid = band.Sizes();
  const RowPlace place = band.PlaceOf(row);
  const std::int32_t firstWord = grid.WordOf(first), lastWord = grid.WordOf(last);
  const std::uint64_t firstBit = std::uint64_t{1} << (first - firstWord * grid.BitsPerWord());
  const std::uint64_t lastBit = std::uint64_t{1} << (last - lastWord * grid.BitsPerWord());
  const std::ptrdiff_t q = grid.Quality();
  const auto cover = [&place, q ](std::int32_t word, std::uint64_t bits) __attribute__((always_inline)) {
    std::uint64_t& covered = place.cover[word * 2 * q];
    if constexpr (countTwice) place.twice[word * q] |= covered & bits;
    covered |= bits;
  };
  if (firstWord == lastWord) {
    cover(firstWord, lastBit - firstBit);
  } else {
    const std::uint64_t whole = ~std::uint64_t{0} >> (64 - grid.BitsPerWord());
    cover(firstWord, whole & (0 - firstBit));
    for (std::int32_t word = firstWord + 1; word < lastWord; ++word) cover(word, whole);
    cover(lastWord, lastBit - 1);
  }
  if (side == OutlineSide::kLeft) place.cross[firstWord * 2 * q] ^= firstBit;
  if (side == OutlineSide::kRight) place.cross[lastWord * 2 * q] ^= lastBit;
  band.Touch(grid.RowOf(row), firstWord, lastWord);
}

#if defined(__AVX2__)
// The smallest and the largest lane, in all lanes.
ORVANDEL_INLINE FourInts SmallestInAll(const FourInts& v) {
  const FourInts pairs = SmallerLanes(v, __builtin_shufflevector(v, v, 2, 3, 0, 1));
  return SmallerLanes(pairs, __builtin_shufflevector(pairs, pairs, 1, 0, 3, 2));
}
ORVANDEL_INLINE FourInts LargestInAll(const FourInts& v) {
  const FourInts pairs = LargerLanes(v, __builtin_shufflevector(v, v, 2, 3, 0, 1));
  return LargerLanes(pairs, __builtin_shufflevector(pairs, pairs, 1, 0, 3, 2));
}

// Sets the marks of four rows in one word column; first, last and crossing count from the word's first column. A run's
// bits: ones from `first` on, without ones from `last` on. The vector shift gives 0 for counts of 64 and more, and for
// negative ones, which count as huge.
template <int Q, bool countTwice>
ORVANDEL_INLINE void MarkWord(const RowPlace& place, std::int32_t word, const FourInts& first, const FourInts& last,
                              const FourInts& crossing) {
  const auto shifted = [](std::int64_t bits, const FourInts& counts) __attribute__((always_inline)) {
    return _mm256_sllv_epi64(_mm256_set1_epi64x(bits), _mm256_cvtepu32_epi64((__m128i)counts));
  };
  const __m256i bits = _mm256_andnot_si256(shifted(-1, last), shifted(-1, first));
  auto* cover = reinterpret_cast<__m256i*>(place.cover + word * 2 * Q);
  const __m256i before = _mm256_loadu_si256(cover);
  _mm256_storeu_si256(cover, _mm256_or_si256(before, bits));
  if constexpr (countTwice) {
    auto* twice = reinterpret_cast<__m256i*>(place.twice + word * Q);
    _mm256_storeu_si256(twice, _mm256_or_si256(_mm256_loadu_si256(twice), _mm256_and_si256(before, bits)));
  }
  auto* cross = reinterpret_cast<__m256i*>(place.cross + word * 2 * Q);
  _mm256_storeu_si256(cross, _mm256_xor_si256(_mm256_loadu_si256(cross), shifted(1, crossing)));
}

// The runs of four rows of one pixel row, word column by word column.
template <int Q, bool countTwice>
ORVANDEL_INLINE void MarkTogether(const Band<Q>& band, std::int32_t row, const FourCells& cells,
                                  const SideMasks& masks) {
  // Rows without a trace begin and end behind all columns, and so do crossings that are none.
  const FourInts behind = ~cells.traced & kBehind;
  FourInts first = (cells.first & cells.traced) | behind, last = (cells.last & cells.traced) | behind;
  const FourInts farthest = LargestInAll((cells.last & cells.traced) | ~cells.traced);
  const FourInts column = SmallestInAll(first) & ~63;
  const std::int32_t firstWord = column[0] >> 6, lastWord = farthest[0] >> 6;
  if (firstWord > lastWord) return;
  first -= column;
  last -= column;
  FourInts crossing =
      (first & Load<FourInts>(masks.atLeft)) | (last & Load<FourInts>(masks.atRight)) | Load<FourInts>(masks.neither);
  const RowPlace place = band.PlaceOf(row);
  MarkWord<Q, countTwice>(place, firstWord, first, last, crossing);
  // Two words always: which of one and two it is cannot be guessed either. The row has a word to spare.
  std::int32_t word = firstWord;
  const FourInts none{};
  do {
    ++word;
    first = LargerLanes(first - 64, none);
    last = LargerLanes(last - 64, none);
    crossing -= 64;
    MarkWord<Q, countTwice>(place, word, first, last, crossing);
  } while (word < lastWord);
  const std::int32_t pixelRow = band.Sizes().RowOf(row);
  band.TouchTwo(pixelRow, firstWord, lastWord > firstWord);
  if (lastWord > firstWord + 1) band.Touch(pixelRow, firstWord + 2, lastWord);
}
#endif

// All runs between the edges in slots a and b, rows y .. end - 1.
template <int Q, bool countTwice>
ORVANDEL_INLINE void MarkRuns(const Band<Q>& band, LivePiece& piece, int a, int b, OutlineSide side, std::int32_t y,
                              std::int32_t end) {
  const SideMasks& masks = kSideMasks[static_cast<int>(side)];
  const std::int32_t lo = band.Job().lo, hi = band.Job().hi, firstColumn = band.FirstColumn();
  ForFourRows(
      piece, a, b, y, end, band.FirstRow(), [&](std::int32_t row, const FourCuts& cuts) __attribute__((always_inline)) {
        FourCells cells;
        TakeFourCells(cuts, masks, lo, hi, firstColumn, cells);
#if defined(__AVX2__)
        if constexpr (Q != 0 && Q % 4 == 0) return MarkTogether<Q, countTwice>(band, row, cells, masks);
#endif
        for (int k = 0; k < 4; ++k) {
          if (cells.traced[k] != 0) MarkRun<Q, countTwice>(band, row + k, cells.first[k], cells.last[k], side);
        }
      });
}

template <int count>
struct LongWords;
template <>
struct LongWords<2> {
  typedef std::uint64_t Vector __attribute__((vector_size(16)));
};
template <>
struct LongWords<4> {
  typedef std::uint64_t Vector __attribute__((vector_size(32)));
};
template <>
struct LongWords<8> {
  typedef std::uint64_t Vector __attribute__((vector_size(64)));
};
template <>
struct LongWords<16> {
  typedef std::uint64_t Vector __attribute__((vector_size(128)));
};

// The q words of one pixel row and word column as a vector, row by row of subsamples.
template <int Q>
struct RowWords {
  static constexpr int kWords = Q == 0 ? kLargestQuality : Q == 1 ? 2 : Q;  // vectors have two elements at least
  using Vector = typename LongWords<kWords>::Vector;

  static Vector Load(const std::uint64_t* from, std::int32_t quality) {
    Vector vector{};
    __builtin_memcpy(&vector, from, 8 * static_cast<std::size_t>(Q != 0 ? Q : quality));
    return vector;
  }
  static void Store(std::uint64_t* to, const Vector& vector, std::int32_t quality) {
    __builtin_memcpy(to, &vector, 8 * static_cast<std::size_t>(Q != 0 ? Q : quality));
  }
  // Bit i of the result: the parity of bits 0 to i.
  static void TakeParity(Vector& v) {
    v ^= v << 1;
    v ^= v << 2;
    v ^= v << 4;
    v ^= v << 8;
    v ^= v << 16;
    v ^= v << 32;
  }
  ORVANDEL_INLINE static bool Any(const Vector& v) {
#if defined(__AVX2__)
    if constexpr (kWords == 4) return _mm256_testz_si256((__m256i)v, (__m256i)v) == 0;
#endif
#if defined(__AVX512F__)
    if constexpr (kWords == 8) return _mm512_test_epi64_mask((__m512i)v, (__m512i)v) != 0;
#endif
    std::uint64_t any = 0;
    for (int i = 0; i < kWords; ++i) any |= v[i];
    return any != 0;
  }
};

// Which cells lie inside the shape, line by line from left to right.
template <int Q>
class InsideWalk {
 public:
  using Rows = RowWords<Q>;
  using Vector = typename Rows::Vector;

  ORVANDEL_INLINE void Inside(const Line& line, std::int32_t quality, Vector& inside) {
    inside = Rows::Load(line.words + quality, quality);
    Rows::TakeParity(inside);
    inside ^= carry_ & line.goesOn;
    carry_ = -(inside >> 63);
  }

 private:
  Vector carry_{};  // all ones in rows where the words so far leave us inside
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
