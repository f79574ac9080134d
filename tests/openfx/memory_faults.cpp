#include "memory_faults.h"

#include <cerrno>
#include <cstddef>
#include <utility>

namespace orvandel::ofx::test::memory {
namespace {

thread_local std::int64_t faultAt = -1, requests = 0;
thread_local bool persistentFault = false, struck = false, armed = false;

[[maybe_unused]] bool Refused() {
  if (!armed || faultAt < 0) return false;
  const std::int64_t request = requests++;
  if (request != faultAt && !(persistentFault && request > faultAt)) return false;
  struck = true;
  errno = ENOMEM;
  return true;
}

}  // namespace

void Arm(std::int64_t at, bool persistent) {
  faultAt = at;
  persistentFault = persistent;
  requests = 0;
  struck = false;
}
bool Struck() { return struck; }

Armed::Armed() : before_(std::exchange(armed, true)) {}
Armed::~Armed() { armed = before_; }
Suspended::Suspended() : before_(std::exchange(armed, false)) {}
Suspended::~Suspended() { armed = before_; }

}  // namespace orvandel::ofx::test::memory

// The sanitizers bring memory functions of their own, and on Windows each library does: there none is refused.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && !defined(_WIN32)
using orvandel::ofx::test::memory::Refused;
#pragma GCC visibility push(default)
extern "C" {
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);
void* malloc(std::size_t bytes) { return Refused() ? nullptr : __libc_malloc(bytes); }
void* calloc(std::size_t count, std::size_t bytes) { return Refused() ? nullptr : __libc_calloc(count, bytes); }
void* realloc(void* block, std::size_t bytes) { return Refused() ? nullptr : __libc_realloc(block, bytes); }
void* aligned_alloc(std::size_t alignment, std::size_t bytes) {
  return Refused() ? nullptr : __libc_memalign(alignment, bytes);
}
int posix_memalign(void** block, std::size_t alignment, std::size_t bytes) {
  void* made = Refused() ? nullptr : __libc_memalign(alignment, bytes);
  if (made == nullptr) return ENOMEM;
  *block = made;
  return 0;
}
}
#pragma GCC visibility pop
#endif
