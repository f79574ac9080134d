// Any order of commands: random strings of them on two sequences, with renders in any order between, and the module
// unloaded and loaded again. Every frame equals the same frame of a fresh sequence.
//
// A failure names the seed of its string; seeds.h says how to replay it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "tests/faults/heap_faults.h"
#include "tests/faults/walk.h"
#include "tests/support/seeds.h"

namespace orvandel::test {
namespace {

TEST(Orders, RandomStringsOfCommands) {
  std::int64_t frames = 0;
  const std::int64_t strings = ForEachSeed(10000, [&frames](std::uint32_t seed) {
    Walk walk(Dice(seed), &FilterMain, nullptr);
    walk.Run();
    frames += walk.Frames();
    EXPECT_EQ(heap_faults::LiveBlocks(), 0);
  });
  EXPECT_TRUE(strings < 100 || frames > 2 * strings) << frames;
  RecordProperty("frames", std::to_string(frames));
}

class Module {
 public:
  Module() { Load(); }
  ~Module() { Unload(); }
  OrvFilterMain Reload() {
    Unload();
    return Load();
  }
  OrvFilterMain Load() {
    handle_ = dlopen(ORVANDEL_MODULE_FILE, RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(handle_, nullptr) << dlerror();
    entry_ = reinterpret_cast<OrvFilterMain>(dlsym(handle_, "FilterMain"));
    return entry_;
  }
  void Unload() {
    dlclose(handle_);
    EXPECT_EQ(dlopen(ORVANDEL_MODULE_FILE, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the module stayed in memory";
  }
  OrvFilterMain Entry() const { return entry_; }

 private:
  void* handle_ = nullptr;
  OrvFilterMain entry_ = nullptr;
};

// A sequence's heap memory is found again: the next frame makes the same calls as without the reload.
TEST(Orders, AReloadOfTheModuleLosesNothing) {
  std::int64_t calls[2];
  for (const bool reload : {false, true}) {
    Module module;
    FakeHost host(kSweepWidth, kSweepHeight, module.Entry());
    ASSERT_EQ(host.SetUp(), 0);
    ASSERT_EQ(host.RenderTick(100), 0);
    if (reload) host.Enter(module.Reload());
    host.ResetCalls();
    ASSERT_EQ(host.RenderTick(101), 0);
    calls[reload ? 1 : 0] = host.Calls(Callback::kPoll) + host.Calls(Callback::kCheckOut);
    ASSERT_EQ(host.SetDown(), 0);
  }
  EXPECT_EQ(calls[0], calls[1]);
}

TEST(Orders, RandomStringsAcrossReloadsOfTheModule) {
  std::int64_t frames = 0;
  ForEachSeed(1500, [&frames](std::uint32_t seed) {
    Module module;
    Walk walk(Dice(seed), module.Entry(), [&module] { return module.Reload(); });
    walk.Run();
    frames += walk.Frames();
  });
  RecordProperty("frames", std::to_string(frames));
}

}  // namespace
}  // namespace orvandel::test
