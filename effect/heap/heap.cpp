// Method: size classes carved from aligned regions.
//
// Every request is rounded up to a size class: multiples of 16 up to 128 bytes, then four classes a doubling, so that
// at most a fifth of a block above 128 bytes is unused. Memory comes from the system in regions, each of one class for
// as long as it lives. A region of a small class is 64 KiB and carved into equal blocks; above 8 KiB a region holds one
// block and is as large as that needs. The system aligns regions to 64 KiB and a region's first block lies close behind
// its header, so that clearing the low 16 bits of any block's address gives its region: blocks need no headers.
//
//     region (64 KiB aligned)
//     +--------+---------+---------+---------+------------------+
//     | header | block 0 | block 1 | block 2 | not yet carved ..|
//     +--------+---------+---------+---------+------------------+
//                 free: its first word links to the region's next free block
//
// A region is always in the chain of all regions, in the room list of its class while it has a block to give, and in
// the idle list while none of its blocks is in use. Idle regions are kept up to the trim threshold, and beyond it the
// one that has been idle longest goes back first; they all go when the system refuses a new region.
//
// Lists are circular through the regions themselves and the state holds the first region of each, so nothing on the
// heap points into the state and a copy of its bytes is as good as the state itself.
#include "effect/heap/heap.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>

#include "effect/heap/os_memory.h"

#if defined(__SANITIZE_ADDRESS__)
#define ORVANDEL_ADDRESS_CHECKED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORVANDEL_ADDRESS_CHECKED
#endif
#endif
#if defined(ORVANDEL_ADDRESS_CHECKED)
#include <sanitizer/asan_interface.h>
#endif

namespace orvandel::heap {
namespace {

constexpr std::size_t kRegionBytes = std::size_t{64} << 10;  // also every region's alignment
constexpr std::size_t kLargestShared = std::size_t{8} << 10;
// Every size that the effect reports is a signed 32-bit number: requests from here on are refused.
constexpr std::size_t kTooLarge = std::size_t{1} << 31;
// Enough to keep the scratch images of a contour traced at 1920 x 1080 from one frame to the next.
constexpr std::size_t kDefaultTrimThreshold = std::size_t{64} << 20;

constexpr std::uint32_t ClassOf(std::size_t bytes) noexcept {
  if (bytes <= 128) return bytes == 0 ? 0 : static_cast<std::uint32_t>((bytes - 1) / 16);
  const std::size_t last = bytes - 1;
  const int exponent = static_cast<int>(std::bit_width(last)) - 1;  // 7 or more
  const auto quarter = static_cast<std::uint32_t>((last >> (exponent - 2)) & 3);
  return 8 + static_cast<std::uint32_t>(exponent - 7) * 4 + quarter;
}

constexpr std::size_t BlockBytesOf(std::uint32_t sizeClass) noexcept {
  if (sizeClass < 8) return (std::size_t{sizeClass} + 1) * 16;
  const std::uint32_t step = sizeClass - 8;
  return (std::size_t{5} + step % 4) << (5 + step / 4);
}

constexpr std::uint32_t kClassCount = ClassOf(kTooLarge - 1) + 1;
static_assert(BlockBytesOf(kClassCount - 1) == kTooLarge);

struct Region;

struct Links {
  Region* previous;
  Region* next;
};

struct FreeBlock {
  FreeBlock* next;
};

struct alignas(kAlignment) Region {
  Links chain;
  Links room;
  Links idle;
  FreeBlock* freeBlocks;  // given back and not in use; null-terminated
  std::size_t regionBytes;
  std::size_t blockBytes;
  std::uint32_t sizeClass;
  std::uint32_t capacity;  // blocks that fit
  std::uint32_t carved;    // blocks handed out at least once; those behind were never touched
  std::uint32_t used;

  std::byte* Block(std::uint32_t index) noexcept {
    return reinterpret_cast<std::byte*>(this) + sizeof(Region) + index * blockBytes;
  }
};

// The part of HeapState that is in use. All zero: no region, the default threshold.
struct State {
  Region* chain;
  Region* idle;  // latest first
  Region* room[kClassCount];
  std::size_t idleBytes;
  std::size_t trimThreshold;  // counts only when it has been set
  std::uint64_t bytesInUse;
  std::uint64_t thresholdIsSet;
  void* root;
};
static_assert(sizeof(State) <= kHeapStateBytes && std::is_trivially_copyable_v<State>);

State inForce;

// Under the address sanitizer only a region's header and the requested bytes of blocks in use may be touched.
void Forbid([[maybe_unused]] void* start, [[maybe_unused]] std::size_t bytes) noexcept {
#if defined(ORVANDEL_ADDRESS_CHECKED)
  ASAN_POISON_MEMORY_REGION(start, bytes);
#endif
}

void Permit([[maybe_unused]] void* start, [[maybe_unused]] std::size_t bytes) noexcept {
#if defined(ORVANDEL_ADDRESS_CHECKED)
  ASAN_UNPOISON_MEMORY_REGION(start, bytes);
#endif
}

// One byte at least stays permitted, even of an empty block, so that reading it on Free reports a double free.
void PermitRequest(void* block, std::size_t blockBytes, std::size_t bytes) noexcept {
  const std::size_t permitted = std::max<std::size_t>(bytes, 1);
  Permit(block, permitted);
  Forbid(static_cast<std::byte*>(block) + permitted, blockBytes - permitted);
}

void ReportDoubleFree([[maybe_unused]] void* block) noexcept {
#if defined(ORVANDEL_ADDRESS_CHECKED)
  static_cast<void>(*static_cast<volatile unsigned char*>(block));
#endif
}

template <Links Region::*kLinks>
void LinkFirst(Region*& first, Region* region) noexcept {
  if (first == nullptr) {
    region->*kLinks = {region, region};
  } else {
    Region* last = (first->*kLinks).previous;
    region->*kLinks = {last, first};
    (last->*kLinks).next = region;
    (first->*kLinks).previous = region;
  }
  first = region;
}

template <Links Region::*kLinks>
void Unlink(Region*& first, Region* region) noexcept {
  const Links links = region->*kLinks;
  (links.previous->*kLinks).next = links.next;
  (links.next->*kLinks).previous = links.previous;
  if (first == region) first = links.next == region ? nullptr : links.next;
}

Region* RegionOf(void* block) noexcept {
  const auto offset = reinterpret_cast<std::uintptr_t>(block) & (kRegionBytes - 1);
  return reinterpret_cast<Region*>(static_cast<std::byte*>(block) - offset);
}

void ReturnRegion(Region* region) noexcept {
  const std::size_t bytes = region->regionBytes;
  Permit(region, bytes);
  os_memory::returnBlock(region, bytes, kRegionBytes);
}

// Only for regions without a block in use.
void DropRegion(Region* region) noexcept {
  Unlink<&Region::chain>(inForce.chain, region);
  Unlink<&Region::room>(inForce.room[region->sizeClass], region);
  Unlink<&Region::idle>(inForce.idle, region);
  inForce.idleBytes -= region->regionBytes;
  ReturnRegion(region);
}

void TrimTo(std::size_t idleBytes) noexcept {
  while (inForce.idleBytes > idleBytes) DropRegion(inForce.idle->idle.previous);
}

std::size_t TrimThreshold() noexcept {
  return inForce.thresholdIsSet != 0 ? inForce.trimThreshold : kDefaultTrimThreshold;
}

void* GetRegionMemory(std::size_t bytes) noexcept {
  void* memory = os_memory::getBlock(bytes, kRegionBytes);
  if (memory != nullptr || inForce.idle == nullptr) return memory;
  TrimTo(0);
  return os_memory::getBlock(bytes, kRegionBytes);
}

// A new region, idle and with room; null when there is no memory.
Region* AddRegion(std::uint32_t sizeClass) noexcept {
  const std::size_t blockBytes = BlockBytesOf(sizeClass);
  const bool isShared = blockBytes <= kLargestShared;
  const std::size_t regionBytes = isShared ? kRegionBytes : sizeof(Region) + blockBytes;
  void* memory = GetRegionMemory(regionBytes);
  if (memory == nullptr) return nullptr;

  auto* region = new (memory) Region{};
  region->regionBytes = regionBytes;
  region->blockBytes = blockBytes;
  region->sizeClass = sizeClass;
  region->capacity = static_cast<std::uint32_t>((regionBytes - sizeof(Region)) / blockBytes);
  Forbid(region->Block(0), regionBytes - sizeof(Region));
  LinkFirst<&Region::chain>(inForce.chain, region);
  LinkFirst<&Region::room>(inForce.room[sizeClass], region);
  LinkFirst<&Region::idle>(inForce.idle, region);
  inForce.idleBytes += regionBytes;
  return region;
}

void* TakeBlock(Region* region) noexcept {
  FreeBlock* block = region->freeBlocks;
  if (block == nullptr) return region->Block(region->carved++);
  Permit(block, sizeof(FreeBlock));
  region->freeBlocks = block->next;
  return block;
}

}  // namespace

void* Allocate(std::size_t bytes) noexcept {
  if (bytes >= kTooLarge) return nullptr;
  const std::uint32_t sizeClass = ClassOf(bytes);
  Region* region = inForce.room[sizeClass];
  if (region == nullptr) region = AddRegion(sizeClass);
  if (region == nullptr) return nullptr;

  void* block = TakeBlock(region);
  if (region->used++ == 0) {
    Unlink<&Region::idle>(inForce.idle, region);
    inForce.idleBytes -= region->regionBytes;
  }
  if (region->used == region->capacity) Unlink<&Region::room>(inForce.room[sizeClass], region);
  inForce.bytesInUse += region->blockBytes;
  PermitRequest(block, region->blockBytes, bytes);
  return block;
}

void Free(void* block) noexcept {
  if (block == nullptr) return;
  ReportDoubleFree(block);
  Region* region = RegionOf(block);
  Permit(block, sizeof(FreeBlock));
  region->freeBlocks = new (block) FreeBlock{region->freeBlocks};
  Forbid(block, region->blockBytes);

  inForce.bytesInUse -= region->blockBytes;
  if (region->used == region->capacity) LinkFirst<&Region::room>(inForce.room[region->sizeClass], region);
  if (--region->used > 0) return;
  LinkFirst<&Region::idle>(inForce.idle, region);
  inForce.idleBytes += region->regionBytes;
  TrimTo(TrimThreshold());
}

void* Reallocate(void* block, std::size_t bytes) noexcept {
  if (block == nullptr) return Allocate(bytes);
  const std::size_t blockBytes = RegionOf(block)->blockBytes;
  // Stays where it is unless it outgrows the block or would leave more than half of it unused.
  if (bytes <= blockBytes && bytes >= blockBytes / 2) {
    PermitRequest(block, blockBytes, bytes);
    return block;
  }
  void* moved = Allocate(bytes);
  if (moved == nullptr) return nullptr;
  Permit(block, blockBytes);
  std::memcpy(moved, block, std::min(bytes, blockBytes));
  Free(block);
  return moved;
}

void SaveState(HeapState& state) noexcept {
  state = HeapState{};
  std::memcpy(state.bytes, &inForce, sizeof(State));
}

void InstallState(const HeapState& state) noexcept { std::memcpy(&inForce, state.bytes, sizeof(State)); }

bool IsEmpty(const HeapState& state) noexcept {
  Region* chain;
  static_assert(offsetof(State, chain) == 0);
  std::memcpy(&chain, state.bytes, sizeof(chain));
  return chain == nullptr;
}

void ReleaseAll() noexcept {
  while (inForce.chain != nullptr) {
    Region* region = inForce.chain;
    Unlink<&Region::chain>(inForce.chain, region);
    ReturnRegion(region);
  }
  inForce = State{};
}

void SetTrimThreshold(std::size_t bytes) noexcept {
  inForce.trimThreshold = bytes;
  inForce.thresholdIsSet = 1;
  TrimTo(bytes);
}

void*& Root() noexcept { return inForce.root; }

std::uint64_t BytesInUse() noexcept { return inForce.bytesInUse; }

}  // namespace orvandel::heap
