// The private heap: all working memory of the effect comes from here, so that one call returns everything.
//
// The heap has one state in force at a time. A state is a block of plain bytes that may be copied anywhere: nothing on
// the heap points back into it. The instance in use installs its own state; it is saved when the module is unloaded.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvandel {

inline constexpr std::size_t kHeapStateBytes = 2064;

// All bytes zero: an empty heap.
struct HeapState {
  alignas(8) std::byte bytes[kHeapStateBytes];
};
static_assert(sizeof(HeapState) == kHeapStateBytes);

namespace heap {

inline constexpr std::size_t kAlignment = 16;

// Null when the system has no memory, and always from 2^31 bytes on. Zero bytes give a valid, unique address.
void* Allocate(std::size_t bytes) noexcept;
// Contents kept up to the smaller size; on failure null, and the old block stays.
void* Reallocate(void* block, std::size_t bytes) noexcept;
void Free(void* block) noexcept;

void SaveState(HeapState& state) noexcept;           // copies the state in force
void InstallState(const HeapState& state) noexcept;  // puts another one in force
bool IsEmpty(const HeapState& state) noexcept;       // no memory belongs to it
void ReleaseAll() noexcept;                          // returns every block to the system; the state becomes empty
// Bytes of free memory kept for later instead of being returned to the system; what exceeds it goes back at once. The
// threshold belongs to the state; an empty state keeps 64 MiB.
void SetTrimThreshold(std::size_t bytes) noexcept;

// A pointer that the state in force keeps for its user: to the first of the records kept on the heap. Null in an empty
// state.
void*& Root() noexcept;

// Bytes in blocks handed out and not freed, of the state in force; a block counts with the size it was rounded up to.
std::uint64_t BytesInUse() noexcept;

}  // namespace heap
}  // namespace orvandel
