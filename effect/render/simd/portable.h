// Vectors of T x N, and what the drawing code asks of them: in the compiler's own vector types, for any processor.
//
// This is the whole vocabulary. Where an instruction set has something better, its file has the same function for
// vectors of its size; a function that is not there is this one. Everything rounds like the scalar operation of the
// same name: a lane of a vector division is the division. A comparison's result, a mask, has all ones in lanes where it
// holds; inside a function compilers keep it in whatever form the processor likes.
//
// The including file defines ORVANDEL_KERNELS, a namespace of its own: the same inline function compiled for two
// instruction sets must not be one function to the linker. For the same reason nothing here or in the kernels calls an
// inline function from elsewhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

// For what runs once a row or more often.
#define ORVANDEL_INLINE __attribute__((always_inline)) inline

// Before loops over lanes. Clang otherwise keeps some of them, and then each lane takes a way through memory.
#if defined(__clang__)
#define ORVANDEL_EACH_LANE _Pragma("clang loop unroll(full)")
#else
#define ORVANDEL_EACH_LANE
#endif

namespace orvandel::fast::ORVANDEL_KERNELS {

template <typename T, int N>
struct VecOf {
  typedef T Type __attribute__((vector_size(sizeof(T) * N)));
};
template <typename T, int N>
using Vec = typename VecOf<T, N>::Type;
template <typename V>
struct LaneType {
  using Type = V;
};
template <typename V>
requires requires(V& v) { v[0]; }
struct LaneType<V> {
  using Type = std::remove_cvref_t<decltype(std::declval<V&>()[0])>;
};
template <typename V>
using LaneOf = typename LaneType<V>::Type;
template <typename V>
inline constexpr int kLanesOf = static_cast<int>(sizeof(V) / sizeof(LaneOf<V>));
template <typename T, typename V>
using Like = Vec<T, kLanesOf<V>>;  // as many lanes of another type

using FourFloats = Vec<float, 4>;
using FourInts = Vec<std::int32_t, 4>;

template <typename V>
ORVANDEL_INLINE V Load(const void* from) {
  V v;
  __builtin_memcpy(&v, from, sizeof v);
  return v;
}
template <typename V>
ORVANDEL_INLINE void Store(void* to, const V& v) {
  __builtin_memcpy(to, &v, sizeof v);
}

// The number in all lanes; unlike a sum with 0, compilers know it for no operation.
template <typename V>
ORVANDEL_INLINE V Spread(const LaneOf<V>& number) {
  return number - V{};
}
// Lanes of `v` where the mask holds; elsewhere memory keeps `before`, which it holds.
template <typename V>
ORVANDEL_INLINE void StoreWhere(void* to, const Like<std::int32_t, V>& mask, const V& v, const V& before) {
  Store(to, mask ? v : before);
}

// Of numbers, or lane by lane; b where one of them is not a number.
template <typename V>
ORVANDEL_INLINE constexpr V Smaller(const V& a, const V& b) {
  return a < b ? a : b;
}
template <typename V>
ORVANDEL_INLINE constexpr V Larger(const V& a, const V& b) {
  return a > b ? a : b;
}
template <typename V>
ORVANDEL_INLINE V Select(const Like<std::int32_t, V>& mask, const V& a, const V& b) {
  return mask ? a : b;
}
// Where masks of so many 32-bit lanes have a type of their own, comparisons that lead to it have names.
template <int lanes>
struct MaskTypeOf {
  using Type = Vec<std::int32_t, lanes>;
};
template <typename V>
using MaskOf = typename MaskTypeOf<kLanesOf<V>>::Type;
template <typename V>
ORVANDEL_INLINE Like<std::int32_t, V> AtMost(const V& a, const V& b) {
  return (Like<std::int32_t, V>)(a <= b);
}
template <typename V>
ORVANDEL_INLINE Like<std::int32_t, V> Less(const V& a, const V& b) {
  return (Like<std::int32_t, V>)(a < b);
}
template <typename V>
ORVANDEL_INLINE V LessUnsigned(const V& a, const V& b) {
  return (V)((Like<std::uint32_t, V>)a < (Like<std::uint32_t, V>)b);
}
ORVANDEL_INLINE float Select(bool mask, float a, float b) { return mask ? a : b; }

// Arithmetic that wraps around: lanes that nobody reads may hold anything.
template <typename V>
ORVANDEL_INLINE V WrappingSum(const V& a, const V& b) {
  return (V)((Like<std::uint32_t, V>)a + (Like<std::uint32_t, V>)b);
}
template <typename V>
ORVANDEL_INLINE V WrappingDifference(const V& a, const V& b) {
  return (V)((Like<std::uint32_t, V>)a - (Like<std::uint32_t, V>)b);
}

// 0, 1, 2 ...
template <typename V>
ORVANDEL_INLINE V LaneNumbers() {
  V v;
  ORVANDEL_EACH_LANE
  for (int i = 0; i < kLanesOf<V>; ++i) v[i] = static_cast<LaneOf<V>>(i);
  return v;
}

// Between floats and whole numbers; |v| < 2^31 in lanes that count.
template <typename V>
ORVANDEL_INLINE Like<float, V> ToFloats(const V& v) {
  return __builtin_convertvector((Like<std::int32_t, V>)v, Like<float, V>);
}
template <typename V>
ORVANDEL_INLINE Like<std::int32_t, V> Truncate(const V& v) {
  return __builtin_convertvector(v, Like<std::int32_t, V>);
}
template <typename V>
ORVANDEL_INLINE Like<std::int32_t, V> Floor(const V& v) {
  const auto truncated = Truncate(v);
  return WrappingSum(truncated, (Like<std::int32_t, V>)(ToFloats(truncated) > v));
}
template <typename V>
ORVANDEL_INLINE Like<std::int32_t, V> Ceiling(const V& v) {
  const auto truncated = Truncate(v);
  return WrappingDifference(truncated, (Like<std::int32_t, V>)(ToFloats(truncated) < v));
}
ORVANDEL_INLINE std::int32_t Floor(float v) {
#if defined(__SSE4_1__) || defined(__aarch64__)
  return static_cast<std::int32_t>(__builtin_floorf(v));
#else
  const auto truncated = static_cast<std::int32_t>(v);
  return truncated - (static_cast<float>(truncated) > v ? 1 : 0);
#endif
}
// Floats without their fractions, v >= 0; and the next whole number, v itself if it is one.
template <typename V>
ORVANDEL_INLINE V WholePart(const V& v) {
  return ToFloats(Truncate(v));
}
template <typename V>
ORVANDEL_INLINE V NextWhole(const V& v) {
  const V whole = WholePart(v);
  return whole < v ? whole + 1 : whole;
}
template <typename V>
ORVANDEL_INLINE V SquareRoot(const V& v) {
  V roots;
  ORVANDEL_EACH_LANE
  for (int i = 0; i < kLanesOf<V>; ++i) roots[i] = __builtin_sqrtf(v[i]);
  return roots;
}
// a * b + c where all numbers are whole, or halves, and small enough to be exact: in one step or in two.
template <typename V>
ORVANDEL_INLINE V ExactMultiplyAdd(const V& a, const V& b, const V& c) {
  return a * b + c;
}

// Whether any bit of any lane is set.
template <typename V>
ORVANDEL_INLINE bool Any(const V& v) {
  const auto words = (Vec<std::uint64_t, sizeof(V) / 8>)v;
  std::uint64_t any = 0;
  ORVANDEL_EACH_LANE
  for (int i = 0; i < kLanesOf<decltype(words)>; ++i) any |= words[i];
  return any != 0;
}
// Whether `v` is not 0 in any lane where the mask holds.
template <typename V>
ORVANDEL_INLINE bool AnyWhere(const Like<std::int32_t, V>& mask, const V& v) {
  return Any(mask & (Like<std::int32_t, V>)(v != 0));
}
// Bit k: lane k of a mask of 32-bit lanes.
template <typename V>
ORVANDEL_INLINE unsigned MaskBits(const V& mask) {
  unsigned bits = 0;
  ORVANDEL_EACH_LANE
  for (int i = 0; i < kLanesOf<V>; ++i) bits |= static_cast<unsigned>(mask[i]) & 1U << i;
  return bits;
}

// Whether LookUp finds lanes by number in two vectors.
template <typename V>
inline constexpr bool kHasLookUp = false;

// Small numbers from memory, one a lane.
template <typename V, typename T>
ORVANDEL_INLINE V LoadWidened(const T* from) {
  return __builtin_convertvector(Load<Like<T, V>>(from), V);
}
// Numbers >= 0 as numbers of twice the size.
template <typename V>
ORVANDEL_INLINE Like<std::uint64_t, V> Widened(const V& v) {
  return __builtin_convertvector((Like<std::uint32_t, V>)v, Like<std::uint64_t, V>);
}

template <typename V, std::size_t... i>
ORVANDEL_INLINE Vec<LaneOf<V>, 2 * kLanesOf<V>> JoinedBy(const V& a, const V& b, std::index_sequence<i...>) {
  return __builtin_shufflevector(a, b, static_cast<int>(i)...);
}
template <typename V>
ORVANDEL_INLINE auto Joined(const V& low, const V& high) {
  return JoinedBy(low, high, std::make_index_sequence<2 * kLanesOf<V>>{});
}
template <int first, typename V, std::size_t... i>
ORVANDEL_INLINE Vec<LaneOf<V>, kLanesOf<V> / 2> HalfFrom(const V& v, std::index_sequence<i...>) {
  return __builtin_shufflevector(v, v, (static_cast<int>(i) + first)...);
}
template <typename V>
ORVANDEL_INLINE auto LowHalf(const V& v) {
  return HalfFrom<0>(v, std::make_index_sequence<kLanesOf<V> / 2>{});
}
template <typename V>
ORVANDEL_INLINE auto HighHalf(const V& v) {
  return HalfFrom<kLanesOf<V> / 2>(v, std::make_index_sequence<kLanesOf<V> / 2>{});
}

// Lane i is lane i ^ step.
template <int step, typename V, std::size_t... i>
ORVANDEL_INLINE V SwappedBy(const V& v, std::index_sequence<i...>) {
  return __builtin_shufflevector(v, v, (static_cast<int>(i) ^ step)...);
}
template <int step, typename V>
ORVANDEL_INLINE V Swapped(const V& v) {
  return SwappedBy<step>(v, std::make_index_sequence<kLanesOf<V>>{});
}

// In every 16 bytes: items of `size` bytes from the low half (the high half) of a and b in turn.
template <int size, int half, typename V, std::size_t... i>
ORVANDEL_INLINE V MergedBy(const V& a, const V& b, std::index_sequence<i...>) {
  const auto at = [](int byte) constexpr {
    const int item = byte % 16 / size;
    return byte / 16 * 16 + half * 8 + item / 2 * size + byte % size + item % 2 * static_cast<int>(sizeof(V));
  };
  using Bytes = Vec<std::uint8_t, sizeof(V)>;
  return (V)__builtin_shufflevector((Bytes)a, (Bytes)b, at(static_cast<int>(i))...);
}
template <int size, typename V>
ORVANDEL_INLINE V MergedLow(const V& a, const V& b) {
  return MergedBy<size, 0>(a, b, std::make_index_sequence<sizeof(V)>{});
}
template <int size, typename V>
ORVANDEL_INLINE V MergedHigh(const V& a, const V& b) {
  return MergedBy<size, 1>(a, b, std::make_index_sequence<sizeof(V)>{});
}
// In every 16 bytes: byte k is byte order(k).
template <int (*order)(int), typename V, std::size_t... i>
ORVANDEL_INLINE V OrderedBy(const V& v, std::index_sequence<i...>) {
  using Bytes = Vec<std::uint8_t, sizeof(V)>;
  return (V)__builtin_shufflevector((Bytes)v, (Bytes)v,
                                    (static_cast<int>(i) / 16 * 16 + order(static_cast<int>(i) % 16))...);
}
template <int (*order)(int), typename V>
ORVANDEL_INLINE V Ordered(const V& v) {
  return OrderedBy<order>(v, std::make_index_sequence<sizeof(V)>{});
}

// Byte `from` of each 32-bit lane as byte `to` of a lane of zeros.
template <int from, int to, typename V>
ORVANDEL_INLINE V MoveByte(const V& v) {
  return (v >> 8 * from & 255) << 8 * to;
}

// Lane k of each group of four: the group's lanes of the k-th vector, joined by `join`.
template <typename V, typename Join>
ORVANDEL_INLINE V JoinGroupsOfFour(const V& a, const V& b, const V& c, const V& d, Join join) {
  const V ab = join(MergedLow<4>(a, b), MergedHigh<4>(a, b)), cd = join(MergedLow<4>(c, d), MergedHigh<4>(c, d));
  return join(MergedLow<8>(ab, cd), MergedHigh<8>(ab, cd));
}
// The groups of four lanes joined.
template <typename V, typename Join>
ORVANDEL_INLINE auto JoinToFour(const V& v, Join join) {
  if constexpr (kLanesOf<V> == 4) {
    return v;
  } else {
    return JoinToFour(join(LowHalf(v), HighHalf(v)), join);
  }
}
// In every lane the smallest of the `size` lanes around it.
template <int size, typename V>
ORVANDEL_INLINE V SmallestOfGroup(V v) {
  if constexpr (size >= 2) v = Smaller(v, Swapped<1>(v));
  if constexpr (size >= 4) v = Smaller(v, Swapped<2>(v));
  if constexpr (size >= 8) v = Smaller(v, Swapped<4>(v));
  if constexpr (size >= 16) v = Smaller(v, Swapped<8>(v));
  return v;
}
template <typename V>
ORVANDEL_INLINE LaneOf<V> SmallestLane(const V& v) {
  return SmallestOfGroup<kLanesOf<V>>(v)[0];
}

// A column behind all others, of rows that leave no trace.
inline constexpr std::int32_t kBehind = 0x7FFFFFFF;
// The words, of 64 columns, in which some rows begin and end. Rows with kBehind in both do not count.
struct WordSpan {
  std::int32_t first, last;
};
template <typename V>
ORVANDEL_INLINE WordSpan WordSpanOf(const V& first, const V& last) {
  return {SmallestLane(first) / 64, -SmallestLane(last == kBehind ? V{} : -last) / 64};
}
// The same for the rows of the low and of the high half.
template <typename V>
ORVANDEL_INLINE void WordSpansOf(const V& first, const V& last, WordSpan& low, WordSpan& high) {
  low = WordSpanOf(LowHalf(first), LowHalf(last));
  high = WordSpanOf(HighHalf(first), HighHalf(last));
}

// Words: 64 bits each.

// Each lane of `v` by its own count; 0 for counts of 64 and more.
template <typename V>
ORVANDEL_INLINE V ShiftedLeft(const V& v, const V& counts) {
  return counts < 64 ? v << (counts & 63) : V{};
}
// Bit i of the result: the parity of bits 0 to i.
template <typename V>
ORVANDEL_INLINE V Parities(const V& v) {
  V parities = v;
  for (int step = 1; step < 64; step *= 2) parities ^= parities << step;
  return parities;
}
// Samples of fields of `width` bits, width a power of two: bits to pairs, pairs to fours, and so on.
template <int width, typename V>
ORVANDEL_INLINE V BitsOfFields(V v) {
  if constexpr (width >= 2) v = v - (v >> 1 & 0x5555555555555555U);
  if constexpr (width >= 4) v = (v & 0x3333333333333333U) + (v >> 2 & 0x3333333333333333U);
  if constexpr (width >= 8) v = (v + (v >> 4)) & 0x0F0F0F0F0F0F0F0FU;
  return v;
}
// Whether FourRowCounts counts the set bits that each nibble of four words has in all of them, a byte a nibble.
template <typename V>
inline constexpr bool kHasFourRowCounts = false;
// Bit k of a number as byte k.
template <typename Bytes>
ORVANDEL_INLINE Bytes SpreadBits(std::uint64_t bits) {
  Bytes bytes;
  ORVANDEL_EACH_LANE
  for (int i = 0; i < kLanesOf<Bytes>; ++i) bytes[i] = bits >> i & 1U;
  return bytes;
}
// The numbers of the set bits, plus `base`, to `to`, which has room for a vector more. Returns how many.
template <typename Word>
ORVANDEL_INLINE std::int32_t ListSetBits(Word set, std::uint32_t base, std::uint32_t* to) {
  std::int32_t count = 0;
  for (; set != 0; set &= set - 1) to[count++] = base + static_cast<std::uint32_t>(__builtin_ctzll(set));
  return count;
}

// visit(k) for every k-th item of `bits` bits, in an array of vectors, that is not 0.
template <int bits, typename V, int parts, typename Visit>
ORVANDEL_INLINE void ForItems(const V (&v)[parts], Visit visit) {
  constexpr std::uint64_t kItem = (std::uint64_t{1} << bits) - 1;
  std::uint64_t words[parts * kLanesOf<V>];
  Store(words, v);
  int first = 0;
  for (std::uint64_t word : words) {
    for (; word != 0;) {
      const int item = __builtin_ctzll(word) / bits;
      visit(first + item, word >> item * bits & kItem);
      word &= ~(kItem << item * bits);
    }
    first += 64 / bits;
  }
}

// Sums of eight bytes each.
template <typename V>
ORVANDEL_INLINE Vec<std::uint64_t, sizeof(V) / 8> SumsOfEight(const V& bytes) {
  constexpr std::uint64_t kPairs = 0x00FF00FF00FF00FFU, kFours = 0x0000FFFF0000FFFFU;
  auto sums = (Vec<std::uint64_t, sizeof(V) / 8>)bytes;
  sums = (sums & kPairs) + (sums >> 8 & kPairs);
  sums = (sums & kFours) + (sums >> 16 & kFours);
  return (sums + (sums >> 32)) & 0xFFFF;
}

// A profile's 512 alphas, for four columns of four rows at a time.
class AlphasOneByOne {
 public:
  using Bytes = Vec<std::uint8_t, 16>;  // row by row those of the four columns
  using Mask = Bytes;                   // of such bytes
  static constexpr std::int32_t kEntries = 512;

  // From entry `first` on, where there are fewer than all.
  void Place(const std::uint8_t* alphas, std::int32_t) { alphas_ = alphas; }
  // The alphas at `index`, one column a vector, where `counted`; else 0.
  ORVANDEL_INLINE Bytes Alphas(const FourInts (&index)[4], const Mask& counted) const {
    const auto at = [&](int k, int i) __attribute__((always_inline)) {
      return std::uint32_t{alphas_[index[k][i] & (kEntries - 1)]};
    };
    Vec<std::uint32_t, 4> rows{};
    ORVANDEL_EACH_LANE
    for (int i = 0; i < 4; ++i) rows[i] = at(0, i) | at(1, i) << 8 | at(2, i) << 16 | at(3, i) << 24;
    return (Bytes)rows & counted;
  }
  // All columns of the rows in a mask, and the first ones of all rows, 1 to 4.
  static Mask AllOf(const FourInts& rows) { return (Mask)rows; }
  static Mask FirstColumns(std::int32_t count) { return (Mask)(Vec<std::uint32_t, 4>{} + (~0U >> (32 - 8 * count))); }
  // Column from + k of each row when first <= from + k < end.
  ORVANDEL_INLINE static Mask Within(const FourInts& first, const FourInts& end, std::int32_t from) {
    FourInts within[4];
    for (std::int32_t k = 0; k < 4; ++k) within[k] = (first <= from + k) & (end > from + k);
    return RowByRow(within);
  }

 protected:
  // The low bytes of four columns.
  ORVANDEL_INLINE static Bytes RowByRow(const FourInts (&of)[4]) {
    using Words = Vec<std::uint32_t, 4>;
    return (Bytes)(((Words)of[0] & 255) | ((Words)of[1] & 255) << 8 | ((Words)of[2] & 255) << 16 | (Words)of[3] << 24);
  }

 private:
  const std::uint8_t* alphas_;
};

}  // namespace orvandel::fast::ORVANDEL_KERNELS
