// The private heap against a model: every block's contents, the system's blocks, copied states, refused memory.
#include "effect/heap/heap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <vector>

#include "effect/base/heap_containers.h"
#include "effect/heap/os_memory.h"

namespace orvandel {
namespace {

// The system as the heap sees it: live blocks by address, and which calls it refuses.
struct FakeSystem {
  std::map<void*, std::size_t> live;
  std::size_t liveBytes = 0;
  std::size_t limit = SIZE_MAX;
  int calls = 0;
  int refuseFrom = 0, refuseTo = 0;  // calls refused: first included, last excluded
  int refused = 0;
};
FakeSystem fakeSystem;

void* GetCounted(std::size_t bytes, std::size_t alignment) noexcept {
  const int call = fakeSystem.calls++;
  const bool isRefused = call >= fakeSystem.refuseFrom && call < fakeSystem.refuseTo;
  if (isRefused || bytes > fakeSystem.limit - fakeSystem.liveBytes) {
    ++fakeSystem.refused;
    return nullptr;
  }
  void* block = os_memory::GetFromSystem(bytes, alignment);
  fakeSystem.live[block] = bytes;
  fakeSystem.liveBytes += bytes;
  return block;
}

void ReturnCounted(void* block, std::size_t bytes, std::size_t alignment) noexcept {
  EXPECT_EQ(fakeSystem.live.at(block), bytes);
  fakeSystem.live.erase(block);
  fakeSystem.liveBytes -= bytes;
  os_memory::ReturnToSystem(block, bytes, alignment);
}

class Heap : public testing::Test {
 protected:
  void SetUp() override {
    heap::ReleaseAll();
    fakeSystem = FakeSystem{};
    os_memory::getBlock = GetCounted;
    os_memory::returnBlock = ReturnCounted;
  }
  void TearDown() override {
    heap::ReleaseAll();
    EXPECT_TRUE(fakeSystem.live.empty());
    os_memory::getBlock = os_memory::GetFromSystem;
    os_memory::returnBlock = os_memory::ReturnToSystem;
  }
};

// Blocks with known contents: overlapping blocks or lost contents show as a wrong byte.
class Model {
 public:
  explicit Model(unsigned seed) : random(seed) {}

  void Step() {
    const unsigned choice = Below(10);
    if (blocks.empty() || choice < 4) {
      AllocateOne();
    } else if (choice < 6) {
      ReallocateOne(blocks[Below(blocks.size())]);
    } else {
      FreeAt(Below(blocks.size()));
    }
  }

  void CheckAll() const {
    std::size_t requested = 0;
    for (const Block& block : blocks) {
      Check(block, block.bytes);
      requested += block.bytes;
    }
    EXPECT_GE(heap::BytesInUse(), requested);
  }

  void FreeAll() {
    while (!blocks.empty()) FreeAt(blocks.size() - 1);
    EXPECT_EQ(heap::BytesInUse(), 0U);
  }

  int nulls = 0;

 private:
  struct Block {
    unsigned char* start;
    std::size_t bytes;
    unsigned char first;
  };

  unsigned Below(std::size_t count) { return static_cast<unsigned>(random() % count); }
  // All magnitudes alike, up to 256 KiB.
  std::size_t SomeSize() { return random() & ((std::size_t{1} << Below(19)) - 1); }

  static unsigned char Expected(const Block& block, std::size_t i) {
    return static_cast<unsigned char>(block.first + i * 7);
  }
  static void Fill(const Block& block) {
    for (std::size_t i = 0; i < block.bytes; ++i) block.start[i] = Expected(block, i);
  }
  static void Check(const Block& block, std::size_t bytes) {
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(block.start) % heap::kAlignment, 0U);
    for (std::size_t i = 0; i < bytes; ++i) ASSERT_EQ(block.start[i], Expected(block, i)) << i << " of " << block.bytes;
  }

  void AllocateOne() {
    const std::size_t bytes = SomeSize();
    void* start = heap::Allocate(bytes);
    if (start == nullptr) {
      ++nulls;
      return;
    }
    blocks.push_back({static_cast<unsigned char*>(start), bytes, static_cast<unsigned char>(random())});
    Fill(blocks.back());
  }

  void ReallocateOne(Block& block) {
    const std::size_t bytes = Below(2) == 0 ? SomeSize() : block.bytes + Below(200);
    void* start = heap::Reallocate(block.start, bytes);
    if (start == nullptr) {
      ++nulls;
      Check(block, block.bytes);
      return;
    }
    block.start = static_cast<unsigned char*>(start);
    Check(block, std::min(bytes, block.bytes));
    block.bytes = bytes;
    Fill(block);
  }

  void FreeAt(std::size_t index) {
    Check(blocks[index], blocks[index].bytes);
    heap::Free(blocks[index].start);
    blocks[index] = blocks.back();
    blocks.pop_back();
  }

  std::mt19937 random;
  std::vector<Block> blocks;
};

TEST_F(Heap, KeepsContentsThroughRandomUse) {
  for (const std::size_t threshold : {std::size_t{0}, std::size_t{300000}, SIZE_MAX}) {
    Model model(static_cast<unsigned>(threshold) + 1);
    heap::SetTrimThreshold(threshold);
    for (int i = 0; i < 10000; ++i) model.Step();
    model.CheckAll();
    model.FreeAll();
    EXPECT_LE(fakeSystem.liveBytes, threshold);
    heap::SetTrimThreshold(0);
    EXPECT_TRUE(fakeSystem.live.empty()) << "idle memory stays with the heap";
  }
}

// A state is plain bytes that may lie anywhere: a link into the place where it was saved would be spoilt.
TEST_F(Heap, InterleavedStatesDoNotMeet) {
  std::vector<HeapState> states(2);
  Model models[2] = {Model(1), Model(2)};
  std::mt19937 random(3);
  for (int i = 0; i < 6000; ++i) {
    const unsigned which = random() % 2;
    heap::InstallState(states[which]);
    std::memset(states[which].bytes, 0xFF, sizeof states[which].bytes);
    models[which].Step();
    heap::SaveState(states[which]);
    if (i % 50 == 0) states = std::vector<HeapState>(states);  // elsewhere
  }
  // One goes away whole; the other does not notice.
  heap::InstallState(states[0]);
  heap::ReleaseAll();
  EXPECT_EQ(heap::BytesInUse(), 0U);
  heap::InstallState(states[1]);
  models[1].CheckAll();
  for (int i = 0; i < 1000; ++i) models[1].Step();
  models[1].FreeAll();
}

TEST_F(Heap, EveryRefusalOfTheSystemIsANullAndNothingElse) {
  for (const bool allLater : {false, true}) {
    bool met = true;
    for (int call = 0; met; ++call) {
      fakeSystem.calls = 0;
      fakeSystem.refused = 0;
      fakeSystem.refuseFrom = call;
      fakeSystem.refuseTo = allLater ? INT32_MAX : call + 1;
      Model model(11);
      heap::SetTrimThreshold(1000000);
      for (int i = 0; i < 200; ++i) model.Step();
      met = fakeSystem.refused > 0;
      EXPECT_FALSE(model.nulls > 0 && !met) << "a null without a refusal, call " << call;
      EXPECT_LE(model.nulls, allLater ? INT32_MAX : 1) << "one refusal costs more than one request, call " << call;
      EXPECT_TRUE(model.nulls > 0 || !allLater || !met) << "memory out of nowhere, call " << call;
      model.CheckAll();
      model.FreeAll();
      heap::ReleaseAll();
      ASSERT_TRUE(fakeSystem.live.empty());
    }
  }
}

TEST_F(Heap, SmallBlocksShareARegionAndLargeOnesCostWhatTheyNeed) {
  for (int i = 0; i < 1000; ++i) heap::Allocate(16);
  void* blocks[21];
  for (void*& block : blocks) block = heap::Allocate(8192);
  EXPECT_EQ(fakeSystem.calls, 4);
  EXPECT_EQ(fakeSystem.liveBytes, 4 * 65536U);
  heap::Allocate(10000);
  EXPECT_LE(fakeSystem.liveBytes, 4 * 65536U + 10000 * 5 / 4);
  // What has been given back to several regions, in turn, is all found again.
  for (const int freed : {0, 7, 14, 1}) heap::Free(blocks[freed]);
  for (int i = 0; i < 4; ++i) heap::Allocate(8192);
  EXPECT_EQ(fakeSystem.calls, 5);
}

TEST_F(Heap, IdleMemoryIsUsedAgainUpToTheThreshold) {
  for (const std::size_t bytes : {std::size_t{10}, std::size_t{5000}, std::size_t{20000}, std::size_t{3000000}}) {
    heap::Free(heap::Allocate(bytes));
    const int calls = fakeSystem.calls;
    for (int i = 0; i < 100; ++i) heap::Free(heap::Allocate(bytes));
    EXPECT_EQ(fakeSystem.calls, calls) << bytes;
  }
  // Too much idle memory: what has been idle longest goes first, so the latest stays.
  heap::ReleaseAll();
  heap::SetTrimThreshold(4000000);
  for (int i = 0; i < 6; ++i) heap::Free(heap::Allocate(20000 << i));
  heap::Free(heap::Allocate(3000000));
  EXPECT_LE(fakeSystem.liveBytes, 4000000U);
  const int calls = fakeSystem.calls;
  heap::Free(heap::Allocate(3000000));
  EXPECT_EQ(fakeSystem.calls, calls);
  // Also when others have been taken out from between them.
  heap::SetTrimThreshold(0);
  heap::SetTrimThreshold(150000);
  for (const std::size_t bytes : {20000, 30000, 40000}) heap::Free(heap::Allocate(bytes));
  void* middle = heap::Allocate(30000);
  heap::SetTrimThreshold(50000);
  const int callsBefore = fakeSystem.calls;
  heap::Free(heap::Allocate(40000));
  EXPECT_EQ(fakeSystem.calls, callsBefore);
  heap::Free(middle);
  // Without a threshold set, two blocks of 32 MiB are more than is kept.
  heap::ReleaseAll();
  void* blocks[] = {heap::Allocate(32 << 20), heap::Allocate(32 << 20)};
  for (void* block : blocks) heap::Free(block);
  EXPECT_EQ(fakeSystem.live.size(), 1U);
}

TEST_F(Heap, OddRequests) {
  void* first = heap::Allocate(0);
  void* second = heap::Reallocate(nullptr, 0);
  EXPECT_TRUE(first != nullptr && second != nullptr && first != second);
  EXPECT_EQ(heap::BytesInUse(), 32U);
  heap::Free(first);
  heap::Free(second);
  heap::Free(nullptr);
  for (const std::size_t bytes : {std::size_t{1} << 31, SIZE_MAX / 2, SIZE_MAX - 15, SIZE_MAX}) {
    EXPECT_EQ(heap::Allocate(bytes), nullptr);
  }
  EXPECT_TRUE(fakeSystem.refused == 0) << "hopeless requests do not reach the system";
  fakeSystem.limit = fakeSystem.liveBytes;
  EXPECT_EQ(heap::Allocate((std::size_t{1} << 31) - 1), nullptr);
  EXPECT_EQ(fakeSystem.refused, 2) << "asked again when idle memory has gone back";
  fakeSystem.limit = SIZE_MAX;
  // Every size around the borders of the classes is usable to its last byte and wastes at most a fifth; a block moves
  // when it grows out of its class or half of it would be unused, and not before.
  for (std::size_t bytes = 1; bytes < 40000; bytes += 1 + bytes / 50) {
    void* block = heap::Allocate(bytes);
    std::memset(block, 0xA5, bytes);
    const std::size_t whole = heap::BytesInUse();
    EXPECT_LE(whole, bytes <= 128 ? bytes + 15 : bytes * 5 / 4);
    EXPECT_EQ(heap::Reallocate(block, whole / 2), block);
    EXPECT_EQ(heap::Reallocate(block, whole), block);
    block = heap::Reallocate(block, whole / 2 - 1);
    EXPECT_TRUE(heap::BytesInUse() < whole || whole == 16);
    block = heap::Reallocate(block, whole + 1);
    EXPECT_GT(heap::BytesInUse(), whole);
    heap::Free(block);
  }
}

TEST_F(Heap, ContainersReportExhaustionWithTheByteCount) {
  fakeSystem.limit = 200000;
  HeapVector<std::int32_t> numbers(1000, 5);
  const auto sizeOfFailure = [&numbers](std::size_t count) {
    try {
      numbers.reserve(count);
    } catch (const AllocFailed& failed) {
      return failed.size;
    }
    return 0;
  };
  EXPECT_EQ(sizeOfFailure(100000), 400000);
  EXPECT_EQ(sizeOfFailure(std::size_t{1} << 29), -1);
  EXPECT_EQ(sizeOfFailure(std::size_t{1} << 60), -1);
  EXPECT_EQ(numbers, HeapVector<std::int32_t>(1000, 5));
  HeapList<double> list;
  EXPECT_THROW(for (;;) list.push_back(1), AllocFailed);
}

#if defined(__SANITIZE_ADDRESS__)
TEST_F(Heap, TheAddressSanitizerSeesMisuse) {
  auto* block = static_cast<volatile char*>(heap::Allocate(20));
  EXPECT_DEATH(block[20] = 1, "use-after-poison");
  EXPECT_DEATH(block[32] = 1, "use-after-poison") << "of the next block, which was never used";
  for (const std::size_t bytes : {30, 20}) heap::Reallocate(const_cast<char*>(block), bytes);
  EXPECT_DEATH(block[20] = 1, "use-after-poison");
  EXPECT_DEATH(static_cast<volatile char*>(heap::Allocate(1))[1] = 1, "use-after-poison");
  heap::Free(const_cast<char*>(block));
  EXPECT_DEATH(block[0] = 1, "use-after-poison");
  EXPECT_DEATH(heap::Free(const_cast<char*>(block)), "use-after-poison");
}
#endif

}  // namespace
}  // namespace orvandel
