// The source of the private heap's memory: the system, or a test's replacement.
#pragma once

#include <cstddef>

namespace orvandel::os_memory {

// Null when there is no memory. `alignment` is a power of two.
using GetBlock = void* (*)(std::size_t bytes, std::size_t alignment) noexcept;
// `bytes` and `alignment` are those that the block was requested with.
using ReturnBlock = void (*)(void* block, std::size_t bytes, std::size_t alignment) noexcept;

void* GetFromSystem(std::size_t bytes, std::size_t alignment) noexcept;
void ReturnToSystem(void* block, std::size_t bytes, std::size_t alignment) noexcept;

// What the heap calls. Tests put functions of their own here to count or refuse blocks, and restore the system's while
// no block of theirs is left in a heap.
extern GetBlock getBlock;
extern ReturnBlock returnBlock;

}  // namespace orvandel::os_memory
