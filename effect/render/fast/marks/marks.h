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

// Whether strips are whole groups of rows.
template <int Q>
inline constexpr bool kInGroups = Q != 0 && kStripRows<Q> % kRowGroup == 0;

#if defined(__AVX2__)
#if !defined(__AVX512F__)
// The smallest and the largest lane, in all lanes.
ORVANDEL_INLINE RowInts SmallestInAll(const RowInts& v) {
  const RowInts twos = SmallerLanes(v, __builtin_shufflevector(v, v, 2, 3, 0, 1));
  return SmallerLanes(twos, __builtin_shufflevector(twos, twos, 1, 0, 3, 2));
}
ORVANDEL_INLINE RowInts LargestInAll(const RowInts& v) {
  const RowInts twos = LargerLanes(v, __builtin_shufflevector(v, v, 2, 3, 0, 1));
  return LargerLanes(twos, __builtin_shufflevector(twos, twos, 1, 0, 3, 2));
}
#endif

// What a group's runs and crossings set in one word column.
#if defined(__AVX512F__)
typedef __m512i GroupWords;
#else
typedef __m256i GroupWords;
#endif
struct GroupBits {
  GroupWords cover, cross;
};

// Where a group's runs and crossings lie, word column by word column: columns from the word's first.
class GroupColumns {
 public:
#if defined(__AVX512F__)
  using Columns = __m512i;
  ORVANDEL_INLINE GroupColumns(const RowInts& first, const RowInts& last, const RowInts& crossing)
      : first_(_mm512_cvtepu32_epi64((__m256i)first)),
        last_(_mm512_cvtepu32_epi64((__m256i)last)),
        crossing_(_mm512_cvtepu32_epi64((__m256i)crossing)) {}
  // On to the next word.
  ORVANDEL_INLINE void Advance() {
    const __m512i word = _mm512_set1_epi64(64), none{};
    first_ = _mm512_max_epi64(_mm512_sub_epi64(first_, word), none);
    last_ = _mm512_max_epi64(_mm512_sub_epi64(last_, word), none);
    crossing_ = _mm512_sub_epi64(crossing_, word);
  }
  // A run's bits: ones from `first` on, without ones from `last` on. The vector shift gives 0 for counts of 64 and
  // more, and for negative ones, which count as huge.
  ORVANDEL_INLINE GroupBits Bits() const {
    const __m512i ones = _mm512_set1_epi64(-1);
    return {_mm512_andnot_si512(_mm512_sllv_epi64(ones, last_), _mm512_sllv_epi64(ones, first_)),
            _mm512_sllv_epi64(_mm512_set1_epi64(1), crossing_)};
  }
#else
  using Columns = RowInts;
  ORVANDEL_INLINE GroupColumns(const RowInts& first, const RowInts& last, const RowInts& crossing)
      : first_(first), last_(last), crossing_(crossing) {}
  ORVANDEL_INLINE void Advance() {
    first_ = LargerLanes(first_ - 64, RowInts{});
    last_ = LargerLanes(last_ - 64, RowInts{});
    crossing_ -= 64;
  }
  ORVANDEL_INLINE GroupBits Bits() const {
    const auto shifted = [](std::int64_t ones, const RowInts& counts) __attribute__((always_inline)) {
      return _mm256_sllv_epi64(_mm256_set1_epi64x(ones), _mm256_cvtepu32_epi64((__m128i)counts));
    };
    return {_mm256_andnot_si256(shifted(-1, last_), shifted(-1, first_)), shifted(1, crossing_)};
  }
#endif

 private:
  Columns first_, last_, crossing_;
};

#if defined(__AVX512F__)
ORVANDEL_INLINE GroupWords LoadWords(const std::uint64_t* from) { return _mm512_loadu_si512(from); }
ORVANDEL_INLINE void StoreWords(std::uint64_t* to, const GroupWords& words) { _mm512_storeu_si512(to, words); }
ORVANDEL_INLINE bool AnyBit(const GroupWords& words) { return _mm512_test_epi64_mask(words, words) != 0; }
#else
ORVANDEL_INLINE GroupWords LoadWords(const std::uint64_t* from) { return _mm256_loadu_si256((const __m256i*)from); }
ORVANDEL_INLINE void StoreWords(std::uint64_t* to, const GroupWords& words) {
  _mm256_storeu_si256((__m256i*)to, words);
}
ORVANDEL_INLINE bool AnyBit(const GroupWords& words) { return _mm256_testz_si256(words, words) == 0; }
#endif

// A group's place in its strip.
struct GroupPlace {
  RowPlace rows;      // of its first row
  std::uint8_t* bad;  // the strip's mark, see Band::Bad
};

// Sets the marks of a group in one word column.
template <int Q, bool countTwice>
ORVANDEL_INLINE void MarkWord(const GroupPlace& place, std::int32_t word, const GroupBits& bits) {
  const std::ptrdiff_t offset = word * std::ptrdiff_t{kStripRows<Q>};
  std::uint64_t *cover = place.rows.cover + 2 * offset, *cross = place.rows.cross + 2 * offset;
  const GroupWords before = LoadWords(cover), again = before & bits.cover;
  if (countTwice && AnyBit(again)) {
    std::uint64_t* twice = place.rows.twice + offset;
    StoreWords(twice, LoadWords(twice) | again);
    *place.bad = 1;
  }
  StoreWords(cover, before | bits.cover);
  StoreWords(cross, LoadWords(cross) ^ bits.cross);
}

// The marks of a group of rows, ready to be set.
struct GroupMarks {
  RowInts first, last, crossing;  // columns, from the first word's first; nothing where they lie behind all words
  std::int32_t row;               // the first one, from the band's first
  std::int32_t firstWord, lastWord;
};

#if defined(__AVX512F__)
// The words that a group lies in, from those of its rows' first and last columns as numbers of 16 bits, where kBehind
// comes to the largest one. Returns the first word's first column in all lanes.
ORVANDEL_INLINE __m256i PlaceWords(const __m128i& firsts, const __m128i& lasts, GroupMarks& marks) {
  const __m128i first = _mm_minpos_epu16(firsts);
  // Up to -2 from below: rows without a trace stay out.
  const __m128i fromEnd = _mm_minpos_epu16(_mm_sub_epi16(_mm_set1_epi16(-2), lasts));
  marks.firstWord = _mm_extract_epi16(first, 0);
  marks.lastWord = -2 - static_cast<std::int16_t>(_mm_extract_epi16(fromEnd, 0));
  return _mm256_slli_epi32(_mm256_broadcastd_epi32(_mm_cvtepu16_epi32(first)), 6);
}
#endif

// The words that a group lies in, and where from the first one's first column. Rows without a trace have kBehind in
// both.
#if defined(__AVX512F__)
ORVANDEL_INLINE void PlaceGroup(const RowInts& first, const RowInts& last, GroupMarks& marks) {
  const auto wordOf = [](const RowInts& column) __attribute__((always_inline)) {
    return _mm256_cvtepi32_epi16(_mm256_srli_epi32((__m256i)column, 6));
  };
  const __m256i column = PlaceWords(wordOf(first), wordOf(last), marks);
  marks.first = (RowInts)_mm256_sub_epi32((__m256i)first, column);
  marks.last = (RowInts)_mm256_sub_epi32((__m256i)last, column);
}
#else
ORVANDEL_INLINE void PlaceGroup(const RowInts& first, const RowInts& last, GroupMarks& marks) {
  const RowInts farthest = LargestInAll(last == kBehind ? RowInts{} - 1 : last), column = SmallestInAll(first) & ~63;
  marks.firstWord = column[0] >> 6;
  marks.lastWord = farthest[0] >> 6;
  marks.first = first - column;
  marks.last = last - column;
}
#endif

// All but the row. Whether any row leaves a trace.
ORVANDEL_INLINE bool PrepareGroup(const RowCells& cells, const SideMasks& masks, GroupMarks& marks) {
  // Rows without a trace begin and end behind all columns, and so do crossings that are none.
  const RowInts behind = ~cells.traced & kBehind;
  const RowInts first = (cells.first & cells.traced) | behind, last = (cells.last & cells.traced) | behind;
  PlaceGroup(first, last, marks);
  marks.crossing = (marks.first & Load<RowInts>(masks.atLeft)) | (marks.last & Load<RowInts>(masks.atRight)) |
                   Load<RowInts>(masks.neither);
  return LanesOf(cells.traced) != 0;
}

// Sets them, word column by word column. A group lies in one strip.
template <int Q, bool countTwice>
ORVANDEL_INLINE void MarkGroup(const Band<Q>& band, const GroupMarks& marks) {
  static_assert(kStripRows<Q> % kRowGroup == 0);
  const std::int32_t strip = band.Sizes().StripOf(marks.row);
  const GroupPlace place{band.PlaceOf(marks.row), countTwice ? &band.Bad(strip) : nullptr};
  GroupColumns columns(marks.first, marks.last, marks.crossing);
  std::int32_t word = marks.firstWord;
  MarkWord<Q, countTwice>(place, word, columns.Bits());
  // Two words always: which of one and two it is cannot be guessed either. The row has a word to spare.
  do {
    ++word;
    columns.Advance();
    MarkWord<Q, countTwice>(place, word, columns.Bits());
  } while (word < marks.lastWord);
  band.Touch(strip, marks.firstWord, marks.lastWord);
}
#endif

}  // namespace orvandel::fast::ORVANDEL_KERNELS
