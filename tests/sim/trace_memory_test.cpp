// What a remembered trace is of: every byte of the picture, its size, and all settings; nothing around the picture.
#include "effect/sim/trace_memory.h"

#include <gtest/gtest.h>

#include <functional>

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

// What is not compared is seen by changing a pixel behind the memory's back.
TEST(TraceMemory, ComparesNoLayerThatIsHeldOrPromised) {
  FakeHost host(160, 120);
  ASSERT_EQ(host.SetUp(), 0);
  host.changeStamp = 3;
  {
    OpenCall call(host);
    TraceMemory memory;
    const auto look = [&](std::uint64_t stamp, std::int32_t time) -> ParamSlot& {
      host.changeStamp = stamp;
      CheckIn(call.context.SlotOf(kInputLayer));
      return AcquireSourceSlot(call.context, time);
    };
    const auto remember = [&](ParamSlot& slot) {
      Remember(memory, SlotImage(slot));
      memory.NoteLayer(slot);
    };
    remember(look(3, 7));
    host.input.Pixel(9, 9)[1] ^= 1;
    EXPECT_TRUE(memory.HoldsLayer(AcquireSourceSlot(call.context, 7))) << "held since";
    EXPECT_TRUE(memory.HoldsLayer(look(3, 7))) << "promised";
    EXPECT_FALSE(memory.HoldsLayer(look(3, 8)));
    EXPECT_FALSE(memory.HoldsLayer(look(4, 7)));
    EXPECT_FALSE(memory.HoldsLayer(look(0, 7)));
    host.input.Pixel(9, 9)[1] ^= 1;
    EXPECT_TRUE(memory.HoldsLayer(look(0, 9)));
    EXPECT_TRUE(memory.HoldsLayer(look(3, 8)));
    host.input.Pixel(9, 9)[1] ^= 1;
    EXPECT_FALSE(memory.HoldsLayer(look(0, 9))) << "no stamp, no promise";
    EXPECT_TRUE(memory.HoldsLayer(look(3, 8))) << "found by comparing, then promised";
    remember(look(5, 6));
    EXPECT_TRUE(memory.HoldsLayer(look(3, 8)));
    host.input.Pixel(9, 9)[1] ^= 1;
    EXPECT_FALSE(memory.HoldsLayer(look(3, 7))) << "that was another picture";
  }
  EXPECT_EQ(host.SetDown(), 0);
}

TEST(TraceMemory, IsOneASequence) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  TraceMemory& memory = TracesOf(StateOf(host));
  EXPECT_EQ(&TracesOf(StateOf(host)), &memory);
  ASSERT_EQ(host.Send(ORV_SEQUENCE_FLATTEN), 0);
  EXPECT_EQ(heap::BytesInUse(), 0U);
  EXPECT_EQ(host.Send(ORV_GLOBAL_SET_DOWN), 0);
}

}  // namespace
}  // namespace orvandel::test
