// The words of one strip and word column, one a row, as vectors.
#pragma once

#include "effect/render/simd/simd.h"

namespace orvandel::fast::ORVANDEL_KERNELS {

inline constexpr int kWordLanes = kLanes / 2;
using WordVector = Vec<std::uint64_t, kWordLanes>;

template <int n>
struct StripWords {
  static constexpr int kParts = n / kWordLanes;
  WordVector parts[kParts];

  ORVANDEL_INLINE static StripWords Zeros() {
    StripWords zeros;
    for (WordVector& part : zeros.parts) part = WordVector{};
    return zeros;
  }
  ORVANDEL_INLINE static StripWords Load(const std::uint64_t* from) {
    StripWords words;
    for (int i = 0; i < kParts; ++i) words.parts[i] = fast::ORVANDEL_KERNELS::Load<WordVector>(from + i * kWordLanes);
    return words;
  }
  ORVANDEL_INLINE void StoreTo(std::uint64_t* to) const {
    for (int i = 0; i < kParts; ++i) Store(to + i * kWordLanes, parts[i]);
  }

  template <typename Change>
  ORVANDEL_INLINE StripWords Changed(Change change) const {
    StripWords words;
    for (int i = 0; i < kParts; ++i) words.parts[i] = change(parts[i], i);
    return words;
  }
  ORVANDEL_INLINE StripWords Parities() const {
    return Changed([](const WordVector& v, int) { return fast::ORVANDEL_KERNELS::Parities(v); });
  }
  // All ones in words whose highest bit is set.
  ORVANDEL_INLINE StripWords HighestBits() const {
    return Changed([](const WordVector& v, int) { return -(v >> 63); });
  }
  ORVANDEL_INLINE WordVector AnyOfParts() const {
    WordVector any = parts[0];
    for (int i = 1; i < kParts; ++i) any |= parts[i];
    return any;
  }
};

template <int n>
ORVANDEL_INLINE StripWords<n> operator^(const StripWords<n>& a, const StripWords<n>& b) {
  return a.Changed([&](const WordVector& v, int i) { return v ^ b.parts[i]; });
}
template <int n>
ORVANDEL_INLINE StripWords<n> operator&(const StripWords<n>& a, const StripWords<n>& b) {
  return a.Changed([&](const WordVector& v, int i) { return v & b.parts[i]; });
}
template <int n>
ORVANDEL_INLINE StripWords<n> operator&(const StripWords<n>& a, std::uint64_t inEach) {
  return a.Changed([&](const WordVector& v, int) { return v & inEach; });
}
template <int n>
ORVANDEL_INLINE StripWords<n> operator|(const StripWords<n>& a, const StripWords<n>& b) {
  return a.Changed([&](const WordVector& v, int i) { return v | b.parts[i]; });
}
template <int n>
ORVANDEL_INLINE StripWords<n> operator~(const StripWords<n>& a) {
  return a.Changed([](const WordVector& v, int) { return ~v; });
}
template <int n>
ORVANDEL_INLINE bool Any(const StripWords<n>& words) {
  return Any(words.AnyOfParts());
}

}  // namespace orvandel::fast::ORVANDEL_KERNELS
