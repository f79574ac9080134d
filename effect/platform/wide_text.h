// What failure messages are built of: wide strings, their allocator, and the substitution of @0 to @9.
//
// Messages are built after the call's teardown, when the private heap may belong to nobody: these blocks come from the
// C library instead.
#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace orvandel::platform {

// Null when there is no memory.
void* Allocate(std::size_t bytes) noexcept;
void Dispose(void* block) noexcept;

void* AllocateOrThrow(std::size_t bytes);  // AllocFailed

template <typename T>
struct SmallBlockAllocator {
  using value_type = T;
  SmallBlockAllocator() noexcept = default;
  template <typename U>
  SmallBlockAllocator(const SmallBlockAllocator<U>&) noexcept {}  // NOLINT(google-explicit-constructor)
  T* allocate(std::size_t count) { return static_cast<T*>(AllocateOrThrow(count * sizeof(T))); }
  void deallocate(T* block, std::size_t) noexcept { Dispose(block); }
  template <typename U>
  bool operator==(const SmallBlockAllocator<U>&) const noexcept {
    return true;
  }
};

using WideString = std::basic_string<char16_t, std::char_traits<char16_t>, SmallBlockAllocator<char16_t>>;
using ByteString = std::basic_string<char, std::char_traits<char>, SmallBlockAllocator<char>>;

WideString AsciiToUTF16(const char* text, std::size_t length);

// Each @n of the template becomes arguments[n]. One pass: what is inserted is not searched again.
WideString ReplaceInString(const WideString& text, const std::array<WideString, 10>& arguments);

}  // namespace orvandel::platform
