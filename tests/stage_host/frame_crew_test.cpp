// Several at once: threads with private copies of one module.
#include "stage/render/frame_crew.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <numeric>
#include <thread>

#include "media_files.h"
#include "stage/base/errors.h"
#include "stage/loading/loaded_effect.h"
#include "stage/module/effect_module.h"
#include "stage/scene/scene_reader.h"
#include "stage/stills/png_file.h"

namespace orvandel::stage {
namespace {

std::unique_ptr<EffectLibrary> Load() { return LoadEffect(ORVANDEL_MODULE_FILE); }

class SeveralAtOnce : public testing::Test {
 protected:
  SeveralAtOnce() {
    WritePng(folder_ / "ring.png", Picture(40, 30));
    const EffectModule module(Load());
    scene_ = ReadSceneText(R"json({"version": 1, "width": 160, "height": 120, "frameRate": 30, "duration": 2,
      "layers": {"ring": "ring.png"}, "effects": [
        {"parameters": {"Frequency": {"expression": "6 + 4 * sin(t * 5)"}, "Spin": 40, "Curve Size": 1}},
        {"parameters": {"Wave Type": "Image Contours", "Source Layer": "ring", "Frequency": 9,
                        "Star Depth": {"random": {"min": -0.5, "max": 0.9}}}}]})json",
                           folder_ / "scene.json", module.Catalog());
    frames_.resize(static_cast<std::size_t>(scene_.time.frameCount));
    std::iota(frames_.begin(), frames_.end(), 0);
  }

  std::map<std::int32_t, Picture> Render(int threads) {
    std::map<std::int32_t, Picture> pictures;
    FrameCrew crew(Load, scene_, {}, threads);
    crew.Render(frames_, [&](FrameCrew::Rendered rendered) {
      EXPECT_EQ(rendered.frame, static_cast<std::int32_t>(pictures.size())) << "in their order";
      pictures.emplace(rendered.frame, std::move(rendered.picture));
    });
    return pictures;
  }

  TempFolder folder_;
  Scene scene_;
  std::vector<std::int32_t> frames_;
};

TEST_F(SeveralAtOnce, AnyNumberOfThreadsGivesTheSameBytes) {
  const auto alone = Render(1);
  ASSERT_EQ(alone.size(), frames_.size());
  for (const int threads : {2, 3, 8}) {
    const auto pictures = Render(threads);
    ASSERT_EQ(pictures.size(), alone.size());
    for (const auto& [frame, picture] : pictures) {
      ASSERT_EQ(picture.bytes, alone.at(frame).bytes) << frame << " of " << threads << " threads";
    }
  }
}

TEST_F(SeveralAtOnce, TheFirstFailureEndsTheWork) {
  FrameCrew crew(Load, scene_, {}, 3);
  int taken = 0;
  const auto refuse = [&](const FrameCrew::Rendered&) {
    if (++taken == 5) throw WorkError("enough");
  };
  EXPECT_THROW(crew.Render(frames_, refuse), WorkError);
  EXPECT_EQ(taken, 5);
  crew.Render(frames_, [&](const FrameCrew::Rendered&) { ++taken; });
  EXPECT_EQ(taken, 5 + static_cast<int>(frames_.size())) << "the crew goes on working";
}

std::size_t Entries(const char* folder) {
  const std::filesystem::directory_iterator entries(folder);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

std::size_t Mappings() {
  std::ifstream maps("/proc/self/maps");
  return static_cast<std::size_t>(std::count(std::istreambuf_iterator<char>(maps), {}, '\n'));
}

TEST_F(SeveralAtOnce, OpenedAndClosedAThousandTimesNothingIsLeft) {
  const EffectModule first(Load());
  const auto openAndClose = [&](int rounds) {
    for (int i = 0; i < rounds; ++i) {
      const EffectModule second(Load()), third(Load());
      ASSERT_EQ(second.Catalog().Params().size(), first.Catalog().Params().size());
    }
  };
  openAndClose(20);  // what the loader keeps for good
  const std::size_t files = Entries("/proc/self/fd"), mappings = Mappings();
  std::thread other(openAndClose, 250);
  openAndClose(250);
  other.join();
  EXPECT_EQ(Entries("/proc/self/fd"), files);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // whose own memory grows
  EXPECT_LE(Mappings(), mappings + 4) << "a thread's stack stays with the system";
#else
  static_cast<void>(mappings);
#endif
}

}  // namespace
}  // namespace orvandel::stage
