// The aligned form of the standard library's raw allocation: the one way to aligned memory that every system has.
#include "effect/heap/os_memory.h"

#include <new>

namespace orvandel::os_memory {

GetBlock getBlock = GetFromSystem;
ReturnBlock returnBlock = ReturnToSystem;

void* GetFromSystem(std::size_t bytes, std::size_t alignment) noexcept {
  return ::operator new (bytes, std::align_val_t{alignment}, std::nothrow);
}

void ReturnToSystem(void* block, std::size_t, std::size_t alignment) noexcept {
  ::operator delete (block, std::align_val_t{alignment});
}

}  // namespace orvandel::os_memory
