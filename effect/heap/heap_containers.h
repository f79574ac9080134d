// Standard containers that draw on the private heap and report exhaustion as AllocFailed with the byte count.
#pragma once

#include <cstddef>
#include <limits>
#include <list>
#include <vector>

#include "effect/base/errors.h"
#include "effect/heap/heap.h"

namespace orvandel {

// Requests above 2^31 - 1 bytes are refused: every size that the effect reports is a signed 32-bit number.
inline void* HeapAllocateOrThrow(std::uint64_t bytes) {
  constexpr std::uint64_t kLargest = 0x7FFFFFFF;
  void* block = bytes > kLargest ? nullptr : heap::Allocate(static_cast<std::size_t>(bytes));
  if (block == nullptr) throw AllocFailed::ForBytes(bytes);
  return block;
}

template <typename T>
class HeapAllocator {
 public:
  using value_type = T;
  static_assert(alignof(T) <= heap::kAlignment);

  HeapAllocator() noexcept = default;
  template <typename U>
  HeapAllocator(const HeapAllocator<U>&) noexcept {}  // NOLINT(google-explicit-constructor): allocators convert

  // Keeps the containers' own length checks (std::length_error) out of reach: exhaustion is always AllocFailed.
  [[nodiscard]] static constexpr std::size_t max_size() noexcept {
    return std::numeric_limits<std::size_t>::max() / 2 / sizeof(T);
  }
  T* allocate(std::size_t count) {
    return static_cast<T*>(HeapAllocateOrThrow(static_cast<std::uint64_t>(count) * sizeof(T)));
  }
  void deallocate(T* block, std::size_t) noexcept { heap::Free(block); }

  template <typename U>
  bool operator==(const HeapAllocator<U>&) const noexcept {
    return true;
  }
};

template <typename T>
using HeapVector = std::vector<T, HeapAllocator<T>>;
template <typename T>
using HeapList = std::list<T, HeapAllocator<T>>;

}  // namespace orvandel
