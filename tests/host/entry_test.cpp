// The frame around every command: who owns the instance's block, which commands do nothing, what failures come back as.
#include <gtest/gtest.h>

#include <cstring>

#include "effect/heap/os_memory.h"
#include "effect/host/global_data.h"
#include "effect/params/param_ids.h"
#include "tests/support/fake_host.h"

namespace orvandel::test {
namespace {

GlobalData& Globals(FakeHost& host) { return *static_cast<GlobalData*>(*host.in.globalData); }

TEST(Entry, CommandsWithoutAHandlerChangeNothing) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  for (const int selector : {2, 9, 10, 12, 15, 16, 17, 18, 19, 1000, -1, INT32_MIN, INT32_MAX}) {
    const OrvHandle globals = host.in.globalData;
    EXPECT_EQ(host.Send(selector), 0) << selector;
    EXPECT_EQ(host.out.globalData, globals);
    EXPECT_EQ(host.out.outFlags, 0U);
    EXPECT_EQ(host.out.paramCount, 0);
    EXPECT_STREQ(host.out.message, "");
  }
  EXPECT_EQ(host.SetDown(), 0);
}

TEST(Entry, TheFirstCallMakesTheBlockAndGlobalSetDownFreesEverything) {
  FakeHost host;
  ASSERT_EQ(host.Send(ORV_QUERY_DYNAMIC_FLAGS), 0);
  const OrvHandle handle = host.in.globalData;
  ASSERT_NE(handle, nullptr);
  for (const std::int32_t entry : Globals(host).paramIndexTable) EXPECT_EQ(entry, -1);
  ASSERT_EQ(host.SetUp(), 0);
  EXPECT_EQ(host.in.globalData, handle);
  ASSERT_EQ(host.RenderTick(40), 0);
  ASSERT_EQ(host.SetDown(), 0);
  EXPECT_EQ(host.out.globalData, nullptr);
  std::string why;
  EXPECT_TRUE(host.NothingLeft(&why)) << why;
  // A following call starts a new instance.
  ASSERT_EQ(host.SetUp(), 0);
  EXPECT_EQ(host.RenderTick(40), 0);
  ASSERT_EQ(host.SetDown(), 0);
  EXPECT_TRUE(host.NothingLeft(&why)) << why;
}

TEST(Entry, GlobalSetDownWithALiveSequenceKeepsTheHeapConsistent) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  ASSERT_EQ(host.RenderTick(40), 0);
  ASSERT_EQ(host.Send(ORV_GLOBAL_SET_DOWN), 0);
  // The sequence's memory went with the heap; its handle is still good, and starts anew in the next instance.
  ASSERT_NE(host.in.sequenceData, nullptr);
  ASSERT_EQ(host.Send(ORV_GLOBAL_SET_UP), 0);
  ASSERT_EQ(host.Send(ORV_PARAM_SET_UP), 0);
  EXPECT_EQ(host.RenderTick(40), 0);
  EXPECT_EQ(host.SetDown(), 0);
}

TEST(Entry, AnInstanceHasAHeapOfItsOwn) {
  static std::int64_t regions = 0;
  os_memory::getBlock = [](std::size_t bytes, std::size_t alignment) noexcept {
    ++regions;
    return os_memory::GetFromSystem(bytes, alignment);
  };
  os_memory::returnBlock = [](void* block, std::size_t bytes, std::size_t alignment) noexcept {
    --regions;
    os_memory::ReturnToSystem(block, bytes, alignment);
  };
  void* before = heap::Allocate(1000);
  const std::uint64_t bytes = heap::BytesInUse();
  FakeHost host;
  ASSERT_EQ(host.Send(ORV_GLOBAL_SET_UP), 0);
  EXPECT_EQ(heap::BytesInUse(), 0U);
  ASSERT_EQ(host.SetUp(), 0);
  ASSERT_EQ(host.RenderTick(40), 0);
  EXPECT_GT(regions, 1);
  ASSERT_EQ(host.Send(ORV_GLOBAL_SET_DOWN), 0);
  EXPECT_EQ(regions, 1) << "all of the instance's memory has gone back, a sequence's as well";
  EXPECT_EQ(heap::BytesInUse(), bytes);
  heap::Free(before);
  os_memory::getBlock = os_memory::GetFromSystem;
  os_memory::returnBlock = os_memory::ReturnToSystem;
}

TEST(Entry, FailuresWhileTheInstanceIsMade) {
  FakeHost host;
  host.in.services = nullptr;
  EXPECT_EQ(host.Send(ORV_ABOUT), 512);
  EXPECT_EQ(host.out.globalData, nullptr);

  FakeHost noMemory;
  noMemory.Arm({Callback::kNewHandle, 0});
  EXPECT_EQ(noMemory.Send(ORV_ABOUT), ORV_OUT_OF_MEMORY);
  EXPECT_STREQ(std::strchr(noMemory.out.message, ':'), ": Insufficient free memory (unable to allocate 4744 bytes)");
  EXPECT_EQ(noMemory.out.outFlags, 0x100U);
  EXPECT_EQ(noMemory.out.globalData, nullptr);

  FakeHost noStrings;
  noStrings.Arm({Callback::kOpenStrings, 0, 77});
  EXPECT_EQ(noStrings.Send(ORV_ABOUT), 77);
  EXPECT_EQ(noStrings.out.globalData, nullptr);
  EXPECT_EQ(noStrings.out.outFlags, 0U);
  std::string why;
  EXPECT_TRUE(noStrings.NothingLeft(&why)) << why;
  noStrings.Disarm();
  EXPECT_EQ(noStrings.SetUp(), 0);
  EXPECT_EQ(noStrings.SetDown(), 0);
}

TEST(Entry, WhatNobodyExpectsToBeThrownIsAnInternalError) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  host.onQuestion = [] { throw 1; };
  EXPECT_EQ(host.RenderTick(40), 512);
  EXPECT_STREQ(host.out.message, "Orvandel: Internal Error");
  host.onQuestion = nullptr;
  EXPECT_EQ(host.RenderTick(40), 0);
  EXPECT_EQ(host.SetDown(), 0);
}

TEST(Entry, IndicesThatNoParameterCanHaveAreRefused) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  const std::int32_t kept = Globals(host).paramIndexTable[kMask];
  for (const std::int32_t index : {-1, 127, INT32_MIN, INT32_MAX}) {
    Globals(host).paramIndexTable[kMask] = index;
    EXPECT_EQ(host.Send(ORV_UPDATE_PARAMS_UI), 512);
    EXPECT_STREQ(host.out.message, "");
  }
  Globals(host).paramIndexTable[kMask] = kept;
  EXPECT_EQ(host.Send(ORV_UPDATE_PARAMS_UI), 0);
  EXPECT_EQ(host.SetDown(), 0);
}

// Every other wave never grows: the picture is that of waves of which every other has no opacity, and no question is
// asked for them.
TEST(Render, WavesThatHaveNotGrownCostNothing) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  host.passParamsToRender = false;
  for (const int grown : {0, 1}) {
    const auto everyOther = [grown, &host](double value) {
      return [=, &host](std::int32_t time, OrvParamDef& d) {
        const bool present = (time / (host.timeScale / 30)) % 2 == grown;
        d.value.fixed.value = present ? static_cast<OrvFixed>(value * 65536) : 0;
      };
    };
    host.ClearValues();
    host.SetFixed(kFrequency, 30);
    host.SetValue(kOpacity, everyOther(1));
    const auto expected = host.FreshPictureAtTick(9);
    host.ClearValues();
    host.SetFixed(kFrequency, 30);
    host.SetValue(kExpansion, everyOther(5));
    // Each newborn is in the picture of its tick without having grown, and must still be there in the next.
    for (int tick = 1; tick <= 9; ++tick) ASSERT_EQ(host.RenderTick(tick), 0);
    EXPECT_EQ(host.Picture(), expected);
  }
  std::int64_t questions[2];
  for (const int frequency : {0, 30}) {
    host.SetFixed(kFrequency, frequency);
    host.SetFixed(kExpansion, 0);
    host.ResetCalls();
    EXPECT_EQ(host.FreshPictureAtTick(9), FencedImage(64, 48).Pixels());
    questions[frequency / 30] = host.Calls(Callback::kQuestion);
  }
  EXPECT_EQ(questions[0], questions[1]);
  EXPECT_EQ(host.SetDown(), 0);
}

TEST(Render, ImagesWithoutPixelsAreNotDrawn) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  FencedImage image(64, 48, 0x5A);
  const auto questions = [&](std::uint8_t* data, std::int32_t width, std::int32_t height) {
    host.lentOutput = OrvImage{data, width, height, image.View().rowBytes, 0, nullptr};
    host.ResetCalls();
    EXPECT_EQ(host.RenderTick(40), 0);
    return host.Calls(Callback::kQuestion);
  };
  std::uint8_t* pixels = image.Pixel(0, 0);
  EXPECT_GT(questions(nullptr, 64, 48), 40);  // one a tick
  const std::int64_t undrawn = questions(nullptr, 64, 48);
  EXPECT_EQ(questions(pixels, 0, 48), undrawn);
  EXPECT_EQ(questions(pixels, 64, 0), undrawn);
  EXPECT_EQ(image.Pixels(), FencedImage(64, 48, 0x5A).Pixels());
  questions(pixels, 1, 1);
  EXPECT_EQ(*pixels, 0) << "the smallest image is cleared";
  host.lentOutput.reset();
  EXPECT_EQ(host.SetDown(), 0);
}

bool lendsInput = true;
std::int32_t PerhapsWithoutInput(std::int32_t selector, OrvInRecord* in, OrvOutRecord* out, OrvParamDef** params,
                                 OrvImage* output, void* extra) {
  if (!lendsInput && params != nullptr) params[0] = nullptr;
  return FilterMain(selector, in, out, params, output, extra);
}

TEST(Render, TheInputMayBeMissing) {
  FakeHost host(64, 48, &PerhapsWithoutInput);
  host.passParamsToRender = true;
  ASSERT_EQ(host.SetUp(), 0);
  ASSERT_EQ(host.RenderTick(40), 0);
  const auto picture = host.output.Pixels();
  lendsInput = false;
  EXPECT_EQ(host.RenderTick(40), 0);
  EXPECT_EQ(host.output.Pixels(), picture);
  lendsInput = true;
  EXPECT_EQ(host.SetDown(), 0);
}

TEST(Entry, TheRegistrationEntryNamesTheEffect) {
  struct Seen {
    std::string name, matchName, category, entryPoint;
    std::uint32_t kind = 0, flags = 0;
    std::int32_t major = 0, minor = 0;
  } seen;
  const OrvRegister registerEffect = [](void* ref, const char* name, const char* matchName, const char* category,
                                        const char* entryPoint, std::uint32_t kind, std::int32_t major,
                                        std::int32_t minor, std::uint32_t flags) -> std::int32_t {
    *static_cast<Seen*>(ref) = {name, matchName, category, entryPoint, kind, flags, major, minor};
    return -31;
  };
  EXPECT_EQ(PluginDataEntryFunction(&seen, registerEffect), -31);
  EXPECT_EQ(seen.name, "$$$/YQ/Effect/Name/Orvandel=Orvandel");
  EXPECT_EQ(seen.matchName, "ZMR Orvandel");
  EXPECT_EQ(seen.category, "$$$/Varnhold/FiltersAndEffects/Category/Generate=Generate");
  EXPECT_EQ(seen.entryPoint, "FilterMain");
  EXPECT_EQ(seen.kind, 0x65464B54U);
  EXPECT_EQ(seen.major * 100 + seen.minor, 1315);
  EXPECT_EQ(seen.flags, 8U);
}

}  // namespace
}  // namespace orvandel::test
