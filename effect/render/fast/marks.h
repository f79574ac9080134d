// Runs of pieces -> marks in the band: one run at a time, or those of a group of rows together.
#pragma once

#include "effect/render/fast/band.h"
#include "effect/render/fast/row_groups.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

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
// Lanes in another order: those of every pair, the pairs of every four, and all fours exchanged.
#if defined(__AVX512F__)
ORVANDEL_INLINE RowInts OnesExchanged(const RowInts& v) {
  return __builtin_shufflevector(v, v, 1, 0, 3, 2, 5, 4, 7, 6);
}
ORVANDEL_INLINE RowInts TwosExchanged(const RowInts& v) {
  return __builtin_shufflevector(v, v, 2, 3, 0, 1, 6, 7, 4, 5);
}
ORVANDEL_INLINE RowInts FoursExchanged(const RowInts& v) {
  return __builtin_shufflevector(v, v, 4, 5, 6, 7, 0, 1, 2, 3);
}
#else
ORVANDEL_INLINE RowInts OnesExchanged(const RowInts& v) { return __builtin_shufflevector(v, v, 1, 0, 3, 2); }
ORVANDEL_INLINE RowInts TwosExchanged(const RowInts& v) { return __builtin_shufflevector(v, v, 2, 3, 0, 1); }
ORVANDEL_INLINE RowInts FoursExchanged(const RowInts& v) { return v; }
#endif

// The smallest and the largest lane, in all lanes.
ORVANDEL_INLINE RowInts SmallestInAll(const RowInts& v) {
  const RowInts twos = SmallerLanes(v, TwosExchanged(v));
  const RowInts fours = SmallerLanes(twos, OnesExchanged(twos));
  return SmallerLanes(fours, FoursExchanged(fours));
}
ORVANDEL_INLINE RowInts LargestInAll(const RowInts& v) {
  const RowInts twos = LargerLanes(v, TwosExchanged(v));
  const RowInts fours = LargerLanes(twos, OnesExchanged(twos));
  return LargerLanes(fours, FoursExchanged(fours));
}

// What a group's runs and crossings set in one word column, four rows a vector.
struct GroupBits {
  __m256i cover[kRowGroup / 4], cross[kRowGroup / 4];
};

// first, last and crossing count from the word's first column. A run's bits: ones from `first` on, without ones from
// `last` on. The vector shift gives 0 for counts of 64 and more, and for negative ones, which count as huge.
ORVANDEL_INLINE GroupBits BitsOfGroup(const RowInts& first, const RowInts& last, const RowInts& crossing) {
  GroupBits bits;
#if defined(__AVX512F__)
  const auto shifted = [](std::int64_t ones, const RowInts& counts) __attribute__((always_inline)) {
    return _mm512_sllv_epi64(_mm512_set1_epi64(ones), _mm512_cvtepu32_epi64((__m256i)counts));
  };
  const __m512i cover = _mm512_andnot_si512(shifted(-1, last), shifted(-1, first)), cross = shifted(1, crossing);
  bits.cover[0] = _mm512_castsi512_si256(cover);
  bits.cover[1] = _mm512_extracti64x4_epi64(cover, 1);
  bits.cross[0] = _mm512_castsi512_si256(cross);
  bits.cross[1] = _mm512_extracti64x4_epi64(cross, 1);
#else
  const auto shifted = [](std::int64_t ones, const RowInts& counts) __attribute__((always_inline)) {
    return _mm256_sllv_epi64(_mm256_set1_epi64x(ones), _mm256_cvtepu32_epi64((__m128i)counts));
  };
  bits.cover[0] = _mm256_andnot_si256(shifted(-1, last), shifted(-1, first));
  bits.cross[0] = shifted(1, crossing);
#endif
  return bits;
}

// Sets the marks of four rows of one pixel row in one word column.
template <int Q, bool countTwice>
ORVANDEL_INLINE void MarkWord(const RowPlace& place, std::int32_t word, const __m256i& bits, const __m256i& crossings) {
  auto* cover = reinterpret_cast<__m256i*>(place.cover + word * 2 * Q);
  const __m256i before = _mm256_loadu_si256(cover);
  _mm256_storeu_si256(cover, _mm256_or_si256(before, bits));
  if constexpr (countTwice) {
    auto* twice = reinterpret_cast<__m256i*>(place.twice + word * Q);
    _mm256_storeu_si256(twice, _mm256_or_si256(_mm256_loadu_si256(twice), _mm256_and_si256(before, bits)));
  }
  auto* cross = reinterpret_cast<__m256i*>(place.cross + word * 2 * Q);
  _mm256_storeu_si256(cross, _mm256_xor_si256(_mm256_loadu_si256(cross), crossings));
}

// The marks of a group of rows, ready to be set.
struct GroupMarks {
  RowInts first, last, crossing;  // columns, from the first word's first; nothing where they lie behind all words
  std::int32_t row;               // the first one, from the band's first
  std::int32_t firstWord, lastWord;
  unsigned traced;  // bit k: row k leaves a trace
};

// The words that a group lies in, and where from the first one's first column; `ends` is `last`, and -1 in rows without
// a trace.
ORVANDEL_INLINE void PlaceGroup(const RowInts& first, const RowInts& last, const RowInts& ends, GroupMarks& marks) {
  const RowInts farthest = LargestInAll(ends), column = SmallestInAll(first) & ~63;
  marks.first = first - column;
  marks.last = last - column;
  marks.firstWord = column[0] >> 6;
  marks.lastWord = farthest[0] >> 6;
}

// All but the row.
ORVANDEL_INLINE void PrepareGroup(const RowCells& cells, const SideMasks& masks, GroupMarks& marks) {
  // Rows without a trace begin and end behind all columns, and so do crossings that are none.
  const RowInts behind = ~cells.traced & kBehind;
  const RowInts first = (cells.first & cells.traced) | behind, last = (cells.last & cells.traced) | behind;
  PlaceGroup(first, last, (cells.last & cells.traced) | ~cells.traced, marks);
  marks.crossing = (marks.first & Load<RowInts>(masks.atLeft)) | (marks.last & Load<RowInts>(masks.atRight)) |
                   Load<RowInts>(masks.neither);
  marks.traced = LanesOf(cells.traced);
}

// Sets them, word column by word column.
template <int Q, bool countTwice>
ORVANDEL_INLINE void MarkGroup(const Band<Q>& band, const GroupMarks& marks) {
  RowInts first = marks.first, last = marks.last, crossing = marks.crossing;
  RowPlace places[kRowGroup / 4];
  for (int four = 0; four < kRowGroup / 4; ++four) places[four] = band.PlaceOf(marks.row + 4 * four);
  const auto mark = [&](std::int32_t word) __attribute__((always_inline)) {
    const GroupBits bits = BitsOfGroup(first, last, crossing);
    for (int four = 0; four < kRowGroup / 4; ++four) {
      MarkWord<Q, countTwice>(places[four], word, bits.cover[four], bits.cross[four]);
    }
  };
  mark(marks.firstWord);
  // Two words always: which of one and two it is cannot be guessed either. The row has a word to spare.
  std::int32_t word = marks.firstWord;
  const RowInts none{};
  do {
    ++word;
    first = LargerLanes(first - 64, none);
    last = LargerLanes(last - 64, none);
    crossing -= 64;
    mark(word);
  } while (word < marks.lastWord);
  for (int four = 0; four < kRowGroup / 4; ++four) {
    const std::int32_t pixelRow = band.Sizes().RowOf(marks.row + 4 * four);
    const bool any = (marks.traced >> 4 * four & 15U) != 0;
    band.TouchTwo(pixelRow, marks.firstWord, any, marks.lastWord > marks.firstWord && any);
    if (any && marks.lastWord > marks.firstWord + 1) band.Touch(pixelRow, marks.firstWord + 2, marks.lastWord);
  }
}
#endif

}  // namespace orvandel::fast::ORVANDEL_KERNELS
