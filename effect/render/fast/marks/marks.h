// Runs of pieces -> marks in the band: one run at a time, or those of a group of rows together.
#pragma once

#include "effect/render/fast/marks/band.h"
#include "effect/render/fast/pieces/row_groups.h"

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
  const std::ptrdiff_t rows = grid.StripRows();
  const std::int32_t strip = grid.StripOf(row);
  const auto cover = [&](std::int32_t word, std::uint64_t bits) __attribute__((always_inline)) {
    std::uint64_t& covered = place.cover[word * 2 * rows];
    if (countTwice && (covered & bits) != 0) {
      place.twice[word * rows] |= covered & bits;
      band.Bad(strip) = 1;
    }
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
  if (side == OutlineSide::kLeft) place.cross[firstWord * 2 * rows] ^= firstBit;
  if (side == OutlineSide::kRight) place.cross[lastWord * 2 * rows] ^= lastBit;
  band.Touch(strip, firstWord, lastWord);
}

// Whether groups of rows are marked together: strips are whole groups, and a vector shifts each lane by its own count.
template <int Q>
inline constexpr bool kInGroups = kLanes > 4 && Q != 0 && kStripRows<Q> % kRowGroup == 0;

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
template <int Q, bool countTwice>
ORVANDEL_INLINE void MarkGroup(const Band<Q>& band, const GroupMarks& marks) {
  using Words = Vec<std::uint64_t, kRowGroup>;
  static_assert(kStripRows<Q> % kRowGroup == 0);
  constexpr std::ptrdiff_t kRows = kStripRows<Q>;
  const std::int32_t strip = band.Sizes().StripOf(marks.row);
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
