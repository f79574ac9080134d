#include "checked_heap.h"

#include <cstdlib>

#include "effect/heap/heap.h"

namespace orvandel {
namespace {
int countdown = -1;
bool failed = false;
int blocksInUse = 0;

bool FailsNow() {
  if (countdown < 0 || countdown-- > 0) return false;
  failed = true;
  return true;
}
}  // namespace

namespace checked_heap {
void FailAfter(int succeeding) {
  countdown = succeeding;
  failed = false;
}
bool HasFailed() { return failed; }
int BlocksInUse() { return blocksInUse; }
}  // namespace checked_heap

namespace heap {
void* Allocate(std::size_t bytes) noexcept {
  if (FailsNow()) return nullptr;
  ++blocksInUse;
  return std::malloc(bytes == 0 ? 1 : bytes);
}
void* Reallocate(void* block, std::size_t bytes) noexcept { return std::realloc(block, bytes); }
void Free(void* block) noexcept {
  if (block != nullptr) --blocksInUse;
  std::free(block);
}
void SaveState(HeapState&) noexcept {}
void InstallState(const HeapState&) noexcept {}
bool IsEmpty(const HeapState&) noexcept { return true; }
void ReleaseAll() noexcept {}
void SetTrimThreshold(std::size_t) noexcept {}
std::uint64_t BytesInUse() noexcept { return 0; }
}  // namespace heap
}  // namespace orvandel
