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

TEST(Entry, AnUnexpectedExceptionIsAnInternalError) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  host.onPoll = [] { throw 1; };
  EXPECT_EQ(host.RenderTick(40), 512);
  EXPECT_STREQ(host.out.message, "Orvandel: Internal Error");
  host.onPoll = nullptr;
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

// Every other wave never grows: the picture is that of waves of which every other has no opacity.
TEST(Render, WavesThatHaveNotGrownAreNotDrawnAndStay) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  host.passParamsToRender = false;
  for (const int grown : {0, 1}) {
    const auto setEveryOther = [grown, &host](ParamId id, double value) {
      host.ClearValues();
      host.SetFixed(kFrequency, 30);
      host.SetValue(id, [=, &host](std::int32_t time, OrvParamDef& d) {
        const bool present = (time / (host.timeScale / 30)) % 2 == grown;
        d.value.fixed.value = present ? static_cast<OrvFixed>(value * 65536) : 0;
      });
    };
    setEveryOther(kOpacity, 1);
    const auto expected = host.FreshPictureAtTick(9);
    setEveryOther(kExpansion, 5);
    // Each newborn is in the picture of its tick without having grown, and must still be there in the next.
    for (int tick = 1; tick <= 9; ++tick) ASSERT_EQ(host.RenderTick(tick), 0);
    EXPECT_EQ(host.Picture(), expected);
  }
  EXPECT_EQ(host.SetDown(), 0);
}

TEST(Render, ImagesWithoutPixelsAreNotDrawn) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  FencedImage image(64, 48, 0x5A);
  const auto polls = [&](std::uint8_t* data, std::int32_t width, std::int32_t height) {
    host.lentOutput = OrvImage{data, width, height, image.View().rowBytes, 0, nullptr};
    host.ResetCalls();
    EXPECT_EQ(host.RenderTick(40), 0);
    return host.Calls(Callback::kPoll);
  };
  std::uint8_t* pixels = image.Pixel(0, 0);
  EXPECT_GT(polls(nullptr, 64, 48), 40);  // one a tick
  const std::int64_t undrawn = polls(nullptr, 64, 48);
  EXPECT_EQ(polls(pixels, 0, 48), undrawn);
  EXPECT_EQ(polls(pixels, 64, 0), undrawn);
  EXPECT_EQ(image.Pixels(), FencedImage(64, 48, 0x5A).Pixels());
  polls(pixels, 1, 1);
  EXPECT_EQ(*pixels, 0) << "the smallest image is cleared";

  // Their waves are the same: contours need room of their own then.
  host.input = FencedImage(64, 48, 0, 8);
  for (int y = 12; y < 36; ++y) std::memset(host.input.Pixel(16, y), 230, 32 * 4);
  host.SetWord(kWaveType, kContourWave);
  host.hearsWaves = true;
  std::int64_t waves[2];
  for (const bool drawn : {false, true}) {
    polls(drawn ? pixels : nullptr, 64, 48);
    waves[drawn ? 1 : 0] = host.Calls(Callback::kReportWave);
  }
  EXPECT_GT(waves[0], 0);
  EXPECT_EQ(waves[0], waves[1]);
  host.lentOutput.reset();
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
