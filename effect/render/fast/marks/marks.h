// Runs of pieces -> marks in the band: one run at a time, or those of a group of rows together.
#pragma once

#include "effect/render/fast/marks/band.h"
#include "effect/render/fast/pieces/row_groups.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

// Sets the marks of one run; of rows and columns of cells.
template <int P, bool countTwice>
ORVANDEL_INLINE void MarkRun(const Band<P>& band, std::int32_t row, std::int32_t first, std::int32_t last,
                             OutlineSide side) {
  const RowPlace place = band.PlaceOf(row);
  const std::int32_t firstWord = first / kWordCells, lastWord = last / kWordCells;
  const std::uint64_t firstBit = std::uint64_t{1} << first % kWordCells,
                      lastBit = std::uint64_t{1} << last % kWordCells;
  constexpr std::ptrdiff_t kRows = kStripRows<P>;
  const std::int32_t strip = band.StripOf(row);
  const auto cover = [&](std::int32_t word, std::uint64_t bits) __attribute__((always_inline)) {
    std::uint64_t& covered = place.cover[word * 2 * kRows];
    if (countTwice && (covered & bits) != 0) {
      place.twice[word * kRows] |= covered & bits;
      band.Bad(strip) = 1;
    }
    covered |= bits;
  };
  if (firstWord == lastWord) {
    cover(firstWord, lastBit - firstBit);
  } else {
    cover(firstWord, 0 - firstBit);
    for (std::int32_t word = firstWord + 1; word < lastWord; ++word) cover(word, ~std::uint64_t{0});
    cover(lastWord, lastBit - 1);
  }
  if (side == OutlineSide::kLeft) place.cross[firstWord * 2 * kRows] ^= firstBit;
  if (side == OutlineSide::kRight) place.cross[lastWord * 2 * kRows] ^= lastBit;
  band.Touch(strip, firstWord, lastWord);
}

// The same for unfolded rows and columns of samples.
template <int P, bool countTwice>
ORVANDEL_INLINE void MarkSamples(const Band<P>& band, std::int32_t row, std::int32_t first, std::int32_t last,
                                 OutlineSide side) {
  const Grid<P>& grid = band.Sizes();
  MarkRun<P, countTwice>(band, grid.CellOf(row - band.FirstRow()), grid.CellOf(first - band.FirstColumn()),
                         grid.CellOf(last - band.FirstColumn()), side);
}

// Whether groups of rows are marked together: vectors shift each lane by its own count.
inline constexpr bool kInGroups = kLanes > 4;

// A group's marks, ready to be set.
struct GroupMarks {
  RowInts first, last, crossing;  // columns, from the first word's first; nothing where they lie behind all words
  std::int32_t row;               // the first one, from the band's first
  std::int32_t firstWord, lastWord;
};

// All but the row.
ORVANDEL_INLINE void PrepareGroup(const WordSpan& words, const RowInts& first, const RowInts& last,
                                  const RowInts& crossing, GroupMarks& marks) {
  marks.firstWord = words.first;
  marks.lastWord = words.last;
  const RowInts start = Spread<RowInts>(64 * words.first);
  marks.first = WrappingDifference(first, start);
  marks.last = WrappingDifference(last, start);
  marks.crossing = WrappingDifference(crossing, start);
}

// Sets the marks of a group in one strip, word column by word column.
template <int P, bool countTwice>
ORVANDEL_INLINE void MarkGroup(const Band<P>& band, const GroupMarks& marks) {
  using Words = Vec<std::uint64_t, kRowGroup>;
  constexpr std::ptrdiff_t kRows = kStripRows<P>;
  const std::int32_t strip = band.StripOf(marks.row);
  const RowPlace place = band.PlaceOf(marks.row);
  RowInts first = marks.first, last = marks.last, crossing = marks.crossing;
  const auto markWord = [&](std::int32_t word) __attribute__((always_inline)) {
    const auto onesFrom = [](const RowInts& column) __attribute__((always_inline)) {
      return ShiftedLeft(~Words{}, Widened(column));
    };
    const Words bits = onesFrom(first) & ~onesFrom(last), crossed = ShiftedLeft(Words{} + 1, Widened(crossing));
    std::uint64_t *cover = place.cover + 2 * kRows * word, *cross = place.cross + 2 * kRows * word;
    const Words before = Load<Words>(cover), again = before & bits;
    if (countTwice && Any(again)) {
      std::uint64_t* twice = place.twice + kRows * word;
      Store(twice, Load<Words>(twice) | again);
      band.Bad(strip) = 1;
    }
    Store(cover, before | bits);
    Store(cross, Load<Words>(cross) ^ crossed);
  };
  std::int32_t word = marks.firstWord;
  markWord(word);
  // Always two words: a branch on one or two would mispredict. The row has a word to spare.
  do {
    ++word;
    first = Larger(first - 64, RowInts{});
    last = Larger(last - 64, RowInts{});
    crossing -= 64;
    markWord(word);
  } while (word < marks.lastWord);
  band.Touch(strip, marks.firstWord, marks.lastWord);
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS
