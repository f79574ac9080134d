// Conditions that always hold, checked in debug and sanitize builds. A release build compiles them and runs none.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace orvandel {

[[noreturn]] inline void BrokenInvariant(const char* condition, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
  std::abort();
}

}  // namespace orvandel

#if defined(NDEBUG)
#define ORVANDEL_INVARIANT(condition) static_cast<void>(true || (condition))
#else
#define ORVANDEL_INVARIANT(condition) \
  (static_cast<bool>(condition) ? void() : ::orvandel::BrokenInvariant(#condition, __FILE__, __LINE__))
#endif
