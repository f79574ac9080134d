#include "tests/faults/heap_faults.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

// The linker's names: __wrap_ is what the effect calls, __real_ is the heap's own function.
#define ALLOCATE _ZN8orvandel4heap8AllocateEm
#define REALLOCATE _ZN8orvandel4heap10ReallocateEPvm
#define FREE _ZN8orvandel4heap4FreeEPv
#define RELEASE_ALL _ZN8orvandel4heap10ReleaseAllEv
#define JOIN_(a, b) a##b
#define JOIN(a, b) JOIN_(a, b)
#define REAL(name) JOIN(__real_, name)
#define WRAP(name) JOIN(__wrap_, name)

extern "C" {
void* REAL(ALLOCATE)(std::size_t bytes) noexcept;
void REAL(FREE)(void* block) noexcept;
void REAL(RELEASE_ALL)() noexcept;
void* WRAP(ALLOCATE)(std::size_t bytes) noexcept;
void* WRAP(REALLOCATE)(void* block, std::size_t bytes) noexcept;
void WRAP(FREE)(void* block) noexcept;
void WRAP(RELEASE_ALL)() noexcept;
}

namespace orvandel::test::heap_faults {
namespace {

struct Header {
  std::uint64_t bytes;
  std::uint64_t mark;
};
constexpr std::uint64_t kLive = 0x6C6976652D2D2D2D;
constexpr std::uint64_t kDead = 0x646561642D2D2D2D;
constexpr std::size_t kRedZone = 32;
constexpr std::uint8_t kFence = 0xD9;

std::int64_t faultAt = -1, requests = 0, liveBlocks = 0;
std::uint64_t firstRefused = 0, liveBytes = 0, byteLimit = UINT64_MAX;
bool persistentFault = false, struck = false;
std::uint8_t fill = 0xA5;
std::string damage;

bool Refused(std::size_t bytes) {
  const std::int64_t request = requests++;
  const bool scheduled = faultAt >= 0 && (request == faultAt || (persistentFault && request > faultAt));
  if (!scheduled && liveBytes + bytes <= byteLimit) return false;
  struck = true;
  if (firstRefused == 0) firstRefused = bytes;
  return true;
}

void* Take(std::size_t bytes) {
  auto* header = static_cast<Header*>(REAL(ALLOCATE)(sizeof(Header) + bytes + kRedZone));
  if (header == nullptr) return nullptr;
  *header = {bytes, kLive};
  auto* block = reinterpret_cast<std::uint8_t*>(header + 1);
  std::memset(block, fill, bytes);
  std::memset(block + bytes, kFence, kRedZone);
  ++liveBlocks;
  liveBytes += bytes;
  return block;
}

void Return(void* block) {
  Header* header = static_cast<Header*>(block) - 1;
  if (header->mark != kLive) {
    damage += header->mark == kDead ? "a block was freed twice; " : "bytes before a block were written; ";
    return;
  }
  const auto* fence = static_cast<const std::uint8_t*>(block) + header->bytes;
  if (std::any_of(fence, fence + kRedZone, [](std::uint8_t byte) { return byte != kFence; })) {
    damage += "bytes behind a block were written; ";
  }
  header->mark = kDead;
  --liveBlocks;
  liveBytes -= header->bytes;
  REAL(FREE)(header);
}

}  // namespace

void Arm(std::int64_t at, bool persistent) {
  faultAt = at;
  persistentFault = persistent;
  requests = 0;
  firstRefused = 0;
  struck = false;
}

std::int64_t Requests() { return requests; }
bool Struck() { return struck; }
std::uint64_t FirstRefusedBytes() { return firstRefused; }
void LimitBytes(std::uint64_t bytes) { byteLimit = bytes; }
void FillNewBlocksWith(std::uint8_t value) { fill = value; }
std::int64_t LiveBlocks() { return liveBlocks; }
const std::string& Damage() { return damage; }

}  // namespace orvandel::test::heap_faults

using namespace orvandel::test::heap_faults;

void* WRAP(ALLOCATE)(std::size_t bytes) noexcept { return Refused(bytes) ? nullptr : Take(bytes); }

void* WRAP(REALLOCATE)(void* block, std::size_t bytes) noexcept {
  if (Refused(bytes)) return nullptr;
  void* moved = Take(bytes);
  if (moved == nullptr || block == nullptr) return moved;
  std::memcpy(moved, block, std::min<std::size_t>(bytes, (static_cast<Header*>(block) - 1)->bytes));
  Return(block);
  return moved;
}

void WRAP(FREE)(void* block) noexcept {
  if (block != nullptr) Return(block);
}

void WRAP(RELEASE_ALL)() noexcept {
  liveBlocks = 0;
  liveBytes = 0;
  REAL(RELEASE_ALL)();
}
