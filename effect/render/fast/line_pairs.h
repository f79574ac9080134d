// Quality 4: two lines at a time, whose eight words of marks of either kind are one vector.
#pragma once

#include "effect/render/fast/band.h"

#if defined(__AVX512F__)

namespace orvandel::fast::ORVANDEL_KERNELS {

// The first line's four words, then the other's.
struct PairMarks {
  __m512i cover, inside;
};

class PairWalk {
 public:
  explicit PairWalk(const Band<4>& band) : band_(band) {}

  // Behind an odd number of lines there is one without marks, outside the picture. `lines` has room for it.
  void MakeEven(Line* lines, std::int32_t count) const { lines[count] = {0, static_cast<std::uint16_t>(UnusedRow())}; }
  bool IsUsed(const Line& line) const { return line.pixelRow != UnusedRow(); }

  // Pair by pair, from left to right; the marks are cleared.
  ORVANDEL_INLINE PairMarks Take(const Line& a, const Line& b) {
    std::uint64_t *wordsA = band_.WordsOf(a), *wordsB = band_.WordsOf(b);
    const __m512i marksA = _mm512_loadu_si512(wordsA), marksB = _mm512_loadu_si512(wordsB);
    _mm512_storeu_si512(wordsA, __m512i{});
    _mm512_storeu_si512(wordsB, __m512i{});
    auto inside = (typename RowWords<8>::Vector)_mm512_shuffle_i64x2(marksA, marksB, 0xEE);
    RowWords<8>::TakeParity(inside);
    const unsigned ends = _mm512_movepi64_mask((__m512i)inside);
    const unsigned enterA = a.pixelRow == pixelRow_ ? carry_ : 0;
    const unsigned enterB = (ends ^ enterA) & 15U & (0 - static_cast<unsigned>(a.pixelRow == b.pixelRow));
    carry_ = ends >> 4 ^ enterB;
    pixelRow_ = b.pixelRow;
    const auto turned = static_cast<__mmask8>(enterA | enterB << 4);
    return {_mm512_shuffle_i64x2(marksA, marksB, 0x44),
            _mm512_mask_xor_epi64((__m512i)inside, turned, (__m512i)inside, _mm512_set1_epi64(-1))};
  }

 private:
  std::int32_t UnusedRow() const { return band_.Job().bandRows + 1; }

  const Band<4> band_;  // marks might alias it, but no copy
  unsigned carry_ = 0;  // one bit a subrow: the words so far leave us inside
  std::int32_t pixelRow_ = -1;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS

#endif
