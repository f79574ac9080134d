// Memory: no byte outside the pixels is touched, inputs are never written, and no picture depends on what memory held
// before. Red zones catch a stray write in every other test; here images end at pages that cannot be touched at all, so
// that a stray read stops the test as well.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "tests/faults/heap_faults.h"
#include "tests/faults/host_life.h"

namespace orvandel::test {
namespace {

// Pixels whose first byte follows, or whose last byte precedes, a page without access.
class WalledImage {
 public:
  enum Wall { kBefore, kBehind };

  WalledImage(const FencedImage& content, Wall wall, bool upsideDown)
      : width_(content.Width()), height_(content.Height()), upsideDown_(upsideDown) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t size = static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_) * 4;
    usable_ = (size + page - 1) / page * page;
    mapped_ = usable_ + 2 * page;
    base_ = static_cast<std::uint8_t*>(mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    inside_ = base_ + page;
    pixels_ = inside_ + (wall == kBefore ? 0 : usable_ - size);
    Protect(PROT_READ | PROT_WRITE);
    const auto rows = content.Pixels();
    for (std::int32_t y = 0; y < height_; ++y)
      std::memcpy(Row(y), &rows[static_cast<std::size_t>(y * width_ * 4)], RowSize());
  }
  ~WalledImage() { munmap(base_, mapped_); }
  WalledImage(const WalledImage&) = delete;
  WalledImage& operator=(const WalledImage&) = delete;

  void Protect(int protection) { EXPECT_EQ(mprotect(inside_, usable_, protection), 0); }
  OrvImage View() { return {Row(0), width_, height_, upsideDown_ ? -width_ * 4 : width_ * 4, 0, nullptr}; }
  std::vector<std::uint8_t> Pixels() {
    std::vector<std::uint8_t> pixels;
    for (std::int32_t y = 0; y < height_; ++y) pixels.insert(pixels.end(), Row(y), Row(y) + RowSize());
    return pixels;
  }

 private:
  std::size_t RowSize() const { return static_cast<std::size_t>(width_) * 4; }
  std::uint8_t* Row(std::int32_t y) {
    return pixels_ + static_cast<std::size_t>(upsideDown_ ? height_ - 1 - y : y) * RowSize();
  }

  std::int32_t width_, height_;
  bool upsideDown_;
  std::size_t usable_ = 0, mapped_ = 0;
  std::uint8_t *base_ = nullptr, *inside_ = nullptr, *pixels_ = nullptr;
};

class Fences : public testing::TestWithParam<Variant> {};

TEST_P(Fences, NoPictureDependsOnWhatMemoryHeld) {
  for (const auto fill : {std::uint8_t{0x00}, std::uint8_t{0xFF}, std::uint8_t{0xA5}}) {
    SCOPED_TRACE(int{fill});
    HostLife life(GetParam());
    heap_faults::FillNewBlocksWith(fill);
    life.host.handleFill = fill;
    for (const Step& step : WholeLife()) {
      ASSERT_EQ(life.Send(step), 0);
      EXPECT_EQ(life.Disorder(), "");
      EXPECT_TRUE(step.selector != ORV_RENDER || life.ShowsFreshPicture(step)) << "tick " << step.tick;
    }
  }
  heap_faults::FillNewBlocksWith(0xA5);
}

TEST_P(Fences, WalledImages) {
  for (const bool upsideDown : {false, true}) {
    for (const auto wall : {WalledImage::kBefore, WalledImage::kBehind}) {
      SCOPED_TRACE(testing::Message() << (wall == WalledImage::kBefore ? "wall before" : "wall behind")
                                      << (upsideDown ? ", upside down" : ""));
      HostLife life(GetParam());
      WalledImage output(life.host.output, wall, upsideDown);
      WalledImage input(life.host.input, wall, upsideDown);
      WalledImage layer(life.host.layers[GetParam().supersampled ? 1 : 0], wall, upsideDown);
      input.Protect(PROT_READ);
      layer.Protect(PROT_READ);
      life.host.lentOutput = output.View();
      life.host.lentInput = input.View();
      life.host.lentLayer = layer.View();
      for (const Step& step : WholeLife()) {
        ASSERT_EQ(life.Send(step), 0);
        if (step.selector != ORV_RENDER) continue;
        EXPECT_TRUE(output.Pixels() == FreshPictureOf(GetParam(), true, step.tick)) << "tick " << step.tick;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sweep, Fences, testing::ValuesIn(AllVariants()),
                         [](const auto& instance) { return instance.param.Name(); });

}  // namespace
}  // namespace orvandel::test
