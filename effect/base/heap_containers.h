// Standard containers that draw on the private heap and report exhaustion as AllocFailed with the byte count.
#pragma once

#include <cstddef>
#include <list>
#include <type_traits>
#include <vector>

#include "effect/base/errors.h"
#include "effect/heap/heap.h"

namespace orvandel {

inline void* HeapAllocateOrThrow(std::size_t bytes) {
  void* block = heap::Allocate(bytes);
  if (block == nullptr) throw AllocFailed::ForBytes(bytes);
  return block;
}

template <typename T>
class HeapAllocator {
 public:
  using value_type = T;
  // A moved container hands its memory over. Stated because not every standard library infers it.
  using propagate_on_container_move_assignment = std::true_type;
  using is_always_equal = std::true_type;
  static_assert(alignof(T) <= heap::kAlignment);

  HeapAllocator() noexcept = default;
  template <typename U>
  HeapAllocator(const HeapAllocator<U>&) noexcept {}  // NOLINT(google-explicit-constructor): allocators convert

  T* allocate(std::size_t count) { return static_cast<T*>(HeapAllocateOrThrow(count * sizeof(T))); }
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
