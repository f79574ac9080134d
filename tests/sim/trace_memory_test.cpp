// What a remembered trace is of: every byte of the picture, its size, and all settings; nothing around the picture.
#include "effect/sim/trace_memory.h"

#include <gtest/gtest.h>

#include "effect/params/param_ids.h"
#include "tests/outline/open_call.h"
#include "tests/sim/sequence_probe.h"

namespace orvandel::test {
namespace {

ImageBuffer ViewOf(FencedImage& image) { return ImageBuffer::FromHost(image.View()); }

TraceSettings SettingsFor(const ImageBuffer& picture) {
  return {picture.width, picture.height, picture.data != nullptr, 9, 8, 5, 127, 1, false, 1, 1, 1};
}

void Remember(TraceMemory& memory, const ImageBuffer& picture) {
  memory.Remember(SettingsFor(picture), picture, {3, 4}, {{1, 2}, {3, 4}}, 5, 6);
}

TEST(TraceMemory, HoldsThePictureToTheByteHoweverItIsStored) {
  FencedImage image(5, 3, 7), elsewhere(5, 3, 7, 0, true);
  TraceMemory memory;
  EXPECT_FALSE(memory.HoldsPicture(ImageBuffer{})) << "nothing yet, not even the picture without pixels";
  Remember(memory, ViewOf(image));
  EXPECT_TRUE(memory.HoldsPicture(ViewOf(image)));
  EXPECT_TRUE(memory.HoldsPicture(ViewOf(elsewhere)));
  for (std::int32_t i = 0; i < 5 * 3 * 4; ++i) {
    std::uint8_t& byte = elsewhere.Pixel(i / 4 % 5, i / 20)[i % 4];
    byte = 8;
    EXPECT_FALSE(memory.HoldsPicture(ViewOf(elsewhere))) << "byte " << i;
    byte = 7;
  }
  FencedImage wider(6, 3, 7), lower(5, 2, 7), turned(3, 5, 7);
  for (FencedImage* other : {&wider, &lower, &turned}) EXPECT_FALSE(memory.HoldsPicture(ViewOf(*other)));
  ImageBuffer none = ViewOf(image);
  none.data = nullptr;
  EXPECT_FALSE(memory.HoldsPicture(none));
  Remember(memory, none);
  EXPECT_TRUE(memory.HoldsPicture(none));
  EXPECT_FALSE(memory.HoldsPicture(ViewOf(image)));
  FencedImage dot(1, 1, 7);
  Remember(memory, ViewOf(dot));
  dot.Pixel(0, 0)[2] = 9;
  EXPECT_FALSE(memory.HoldsPicture(ViewOf(dot)));
  EXPECT_EQ(memory.Chain(), (PictureOutline{{1, 2}, {3, 4}}));
  EXPECT_EQ(memory.Found(), 5);
  EXPECT_EQ(memory.AbortChecks(), 6);
}

// Pictures large enough that the host's word is taken for what a time shows: it holds for that time and picture alone.
TEST(TraceMemory, AStampVouchesForThePicturesOfTheirTimes) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  host.changeStamp = 1;
  host.SetWord(kWaveType, kContourWave);
  host.SetWord(kSetAt, 2);
  for (const int edge : {40, 70, 100}) {
    FencedImage& layer = host.layers.emplace_back(128, 128);
    for (int i = 0; i < edge * edge; ++i) std::fill_n(layer.Pixel(10 + i % edge, 10 + i / edge), 4, std::uint8_t{255});
  }
  host.SetValue(kSourceLayer, [&host](std::int32_t time, OrvParamDef& d) {
    d.value.layer.image = host.layers[static_cast<std::size_t>(time / 1000 % 3)].View();
  });
  for (int i = 0; i < 40; ++i) {
    const int tick = i * i * i % 11;
    ASSERT_EQ(host.RenderTick(tick), 0);
    EXPECT_EQ(host.Picture(), host.FreshPictureAtTick(tick)) << i << ": " << tick;
  }
  const auto sharp = host.FreshPictureAtTick(3);
  host.SetFixed(kPreBlur, 9);
  EXPECT_NE(host.FreshPictureAtTick(3), sharp);
}

}  // namespace
}  // namespace orvandel::test
