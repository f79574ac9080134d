// Where the private heap gets its memory from and where it goes back to: the system, or what a test puts in its place.
#pragma once

#include <cstddef>

namespace orvandel::os_memory {

// Null when there is no memory. `alignment` is a power of two.
using GetBlock = void* (*)(std::size_t bytes, std::size_t alignment) noexcept;
// Called with the very size and alignment that the block was got with.
using ReturnBlock = void (*)(void* block, std::size_t bytes, std::size_t alignment) noexcept;

void* GetFromSystem(std::size_t bytes, std::size_t alignment) noexcept;
void ReturnToSystem(void* block, std::size_t bytes, std::size_t alignment) noexcept;

// What the heap calls. Tests count blocks or refuse them by putting functions of their own here, and must put the
// system's back while no block of theirs is left in a heap.
extern GetBlock getBlock;
extern ReturnBlock returnBlock;

}  // namespace orvandel::os_memory
