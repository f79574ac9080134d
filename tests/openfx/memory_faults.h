// The process' memory, which ends on request for what the plug-in does on one thread: never for the host, nor for the
// test.
#pragma once

#include <cstdint>

namespace orvandel::ofx::test::memory {

// The at-th request of this thread from now on is refused, counted from 0; all later ones too when `persistent`. -1:
// none.
void Arm(std::int64_t at, bool persistent);
bool Struck();  // since then

// Within the plug-in, and from there in the host.
class Armed {
 public:
  Armed();
  ~Armed();
  Armed(const Armed&) = delete;
  Armed& operator=(const Armed&) = delete;

 private:
  bool before_;
};
class Suspended {
 public:
  Suspended();
  ~Suspended();
  Suspended(const Suspended&) = delete;
  Suspended& operator=(const Suspended&) = delete;

 private:
  bool before_;
};

}  // namespace orvandel::ofx::test::memory
