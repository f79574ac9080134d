#include "stage/render/frame_renderer.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <numeric>

#include "media_files.h"
#include "stage/base/errors.h"
#include "stage/loading/loaded_effect.h"
#include "stage/module/mask_lender.h"
#include "stage/module/value_table.h"
#include "stage/render/param_view.h"
#include "stage/scene/param_values.h"
#include "stage/scene/scene_reader.h"
#include "stage/stills/png_file.h"

#if defined(__SANITIZE_ADDRESS__)
// g++ comes without the header that declares it.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace orvandel::stage {
namespace {

std::string SceneText(const std::string& rest, int frameRate) {
  return R"({"version": 1, "width": 48, "height": 32, "duration": 3, "frameRate": )" + std::to_string(frameRate) +
         ", " + rest + "}";
}

// A disc that wanders with its number; the source of contour waves.
Picture Disc(int index) {
  Picture picture(40, 30);
  for (int y = 0; y < 30; ++y) {
    for (int x = 0; x < 40; ++x) {
      const int dx = x - 10 - index, dy = y - 15;
      picture.bytes[static_cast<std::size_t>((y * 40 + x) * 4)] = dx * dx + dy * dy < 70 ? 255 : 0;
    }
  }
  return picture;
}

class RealEffect : public testing::Test {
 protected:
  RealEffect() : module(LoadEffect(ORVANDEL_MODULE_FILE)) {
    for (int i = 0; i < 12; ++i) {
      WritePng(folder / ("disc." + std::to_string(i) + ".png"), Disc(i));
      WritePng(folder / ("blink." + std::to_string(i) + ".png"), i == 8 || i == 9 ? Picture(40, 30) : Disc(5));
    }
  }
  ~RealEffect() override { EXPECT_NO_THROW(module.SetDown()); }

  Scene Read(const std::string& rest, int frameRate = 24) {
    return ReadSceneText(SceneText(rest, frameRate), folder / "scene.json", module.Catalog());
  }

  TempFolder folder;
  EffectModule module;
};

// Lives that are cut short at drawn frames, masks that are missing for a while, sources that go blank and come back:
// each exercises another reason for which frames could depend on their order.
const char* const kScenes[] = {
    R"json("parameters": {"Frequency": 4, "Expansion": 1})json",
    R"json("parameters": {"Frequency": {"keyframes": [{"time": 0, "value": 1, "interp": "ease-in"}, {"time": 2, "value": 9}]},
       "Producer Point": {"keyframes": [{"time": 0, "value": [0, 0]}, {"time": 3, "value": [48, 32]}]}})json",
    R"json("parameters": {"Parameters are set at": "Each Frame", "Frequency": 5, "Expansion": 0.5,
       "Lifespan (sec)": {"keyframes": [{"time": 0, "value": 0.1, "interp": "hold"}, {"time": 0.7, "value": 3}]}})json",
    R"json("masks": {"a": {"d": "M 10 8 L 40 8 L 24 28 Z"}, "b": {"keyframes": [{"time": 0, "d": "M 4 4 L 44 4 L 44 28 Z"},
       {"time": 2, "d": "M 20 4 L 44 14 L 4 28 Z"}]}}, "parameters": {"Wave Type": "Mask", "Frequency": 3, "Expansion": 1,
       "Mask": {"keyframes": [{"time": 0, "value": null}, {"time": 0.5, "value": "a"}, {"time": 1.2, "value": "b"}]}})json",
    R"json("layers": {"d": "disc.%d.png"}, "parameters": {"Wave Type": "Image Contours", "Source Layer": "d", "Frequency": 4,
       "Expansion": 1, "Start Width": 2, "End Width": 2})json",
    R"json("input": "blink.%d.png", "parameters": {"Wave Type": "Image Contours", "Frequency": 4, "Expansion": 1,
       "Parameters are set at": "Each Frame", "Start Width": 2, "End Width": 2})json",
    R"json("layers": {"a": "disc.7.png", "none": "blink.8.png"}, "parameters": {"Frequency": 4,
       "Wave Type": "Image Contours", "Expansion": 1, "Parameters are set at": "Each Frame",
       "Source Layer": {"keyframes": [{"time": 0, "value": "a"}, {"time": 0.5, "value": "none"}, {"time": 0.8, "value": "a"}]}})json",
};

// A frame is what it is when nothing else is rendered. At 30 frames a second every frame falls on a tick and a sequence
// goes on from its live waves; at 24 it goes on from what it kept at the tick before.
TEST_F(RealEffect, AnyOrderOfFramesGivesTheSameBytes) {
  std::mt19937 random(12);
  for (int i = 0; i < 2 * static_cast<int>(std::size(kScenes)); ++i) {
    const char* text = kScenes[i / 2];
    const Scene scene = Read(text, i % 2 == 0 ? 24 : 30);
    std::vector<int> frames(40);
    std::iota(frames.begin(), frames.end(), 0);
    std::map<int, std::vector<std::uint8_t>> alone;
    int visible = 0;
    for (const int frame : frames) {
      FrameRenderer renderer(module, scene, 0, {.downsample = 2});
      alone[frame] = renderer.Render(frame).bytes;
      visible += std::any_of(alone[frame].begin(), alone[frame].end(), [](std::uint8_t byte) { return byte != 0; });
    }
    EXPECT_GT(visible, 15) << text;
    for (int round = 0; round < 3; ++round) {
      FrameRenderer renderer(module, scene, 0, {.downsample = 2});
      for (const int frame : frames) ASSERT_EQ(renderer.Render(frame).bytes, alone[frame]) << frame << " of " << text;
      std::shuffle(frames.begin(), frames.end(), random);
    }
  }
}

// Every frame from every folder: empty, filled by another render, with some of its files damaged in any way.
TEST_F(RealEffect, FramesFromSnapshotsAreThoseFromTheStart) {
  std::mt19937 random(5);
  for (int i = 0; i < 2 * static_cast<int>(std::size(kScenes)); ++i) {
    const Scene scene = Read(kScenes[i / 2], i % 2 == 0 ? 24 : 30);
    std::vector<int> frames(60);
    std::iota(frames.begin(), frames.end(), 0);
    std::shuffle(frames.begin(), frames.end(), random);
    std::vector<std::string> notes;
    RenderOptions options;
    options.downsample = 2;
    options.snapshots = folder / std::to_string(i);
    options.ticksBetweenSnapshots = static_cast<std::int32_t>(1 + random() % 30);
    options.onNote = [&](const std::string& note) { notes.push_back(note); };
    FrameRenderer(module, scene, 0, options).Render(59);
    const bool keeps = std::filesystem::exists(options.snapshots);
    EXPECT_EQ(notes.empty(), keeps) << kScenes[i / 2];
    FrameRenderer plain(module, scene, 0, {.downsample = 2});
    for (int round = 0; round < 20; ++round) {
      notes.clear();
      std::size_t damaged = 0;
      if (keeps && round % 2 == 1) {
        for (const auto& entry : std::filesystem::directory_iterator(options.snapshots)) {
          std::string bytes = test::ReadFile(entry.path());
          if (random() % 2 == 0) bytes.resize(random() % bytes.size());
          if (!bytes.empty()) bytes[random() % bytes.size()] ^= 0x10;
          test::WriteFile(entry.path(), bytes);
          ++damaged;
        }
      }
      FrameRenderer renderer(module, scene, 0, options);
      const int frame = frames[static_cast<std::size_t>(round)];
      ASSERT_EQ(renderer.Render(frame).bytes, plain.Render(frame).bytes) << frame << " of " << kScenes[i / 2];
      if (damaged > 0 && frame > 40) {
        EXPECT_FALSE(notes.empty()) << frame;
      }
    }
  }
}

// A stop at any poll ends the frame, and the next frame is still right.
TEST_F(RealEffect, CanBeStoppedAtEveryPoll) {
  for (const char* text : kScenes) {
    const Scene scene = Read(text);
    int polls = 0, stopAt = -1;
    RenderOptions options;
    options.downsample = 3;
    options.shouldStop = [&] { return polls++ == stopAt; };
    FrameRenderer renderer(module, scene, 0, options);
    const Picture whole = renderer.Render(30);
    FrameRenderer stopped(module, scene, 0, options);
    for (int i = 0; i < 60; ++i) {
      polls = 0;
      stopAt = i;
      try {
        EXPECT_EQ(stopped.Render(30).bytes, whole.bytes);
        EXPECT_LE(polls, i);
      } catch (const Interrupted&) {
        EXPECT_EQ(polls, i + 1);
      }
    }
    stopAt = -1;
    EXPECT_EQ(stopped.Render(30).bytes, whole.bytes);
  }
}

TEST_F(RealEffect, APictureThatCannotBeReadIsTheInputsFault) {
  const Scene scene = Read(kScenes[4]);
  FrameRenderer before(module, scene, 0, {});
  const Picture early = before.Render(3);
  for (int i = 4; i < 12; ++i) WriteBytes(folder / ("disc." + std::to_string(i) + ".png"), {1, 2, 3});
  FrameRenderer renderer(module, scene, 0, {});
  EXPECT_EQ(renderer.Render(3).bytes, early.bytes);
  const std::string text = ErrorOf<InputError>([&] {
    for (int frame = 4; frame < 20; ++frame) renderer.Render(frame);
  });
  EXPECT_EQ(text.find((folder / "scene.json").string() + ": /layers/d: "), 0u) << text;
  EXPECT_NE(text.find("/disc."), std::string::npos) << text;
  EXPECT_EQ(renderer.Render(3).bytes, early.bytes);
}

TEST_F(RealEffect, AgreesWithItsResource) {
  EXPECT_TRUE(module.Complaints().empty()) << testing::PrintToString(module.Complaints());
  EXPECT_NE(module.GetIdentity().about.find('\n'), std::string::npos);
  EXPECT_EQ(module.GetIdentity().about.find("#{"), std::string::npos);
}

std::size_t HeapInUse() {
#if defined(__SANITIZE_ADDRESS__)
  return __sanitizer_get_current_allocated_bytes();
#else
  return mallinfo2().uordblks;
#endif
}

// One frame of a moving mask asks for a path of its own for every wave; not all of them can be kept until its end.
TEST_F(RealEffect, KeepsAFewMaskPathsOnly) {
  const Scene scene = Read(kScenes[3]);
  MaskLender lender(scene, 1);
  constexpr std::int32_t kResolution = 2000;
  const std::size_t before = HeapInUse();
  std::size_t most = 0;
  for (std::int32_t time = 0; time < 5000; ++time) {
    const OrvPathRef path = lender.PathAt(2, time);
    lender.Prepare(path, 0, kResolution);
    lender.TakeBack();
    lender.TakeBack();
    most = std::max(most, HeapInUse() - before);
  }
  EXPECT_GT(most, std::size_t{10} << 20) << "the paths are different ones";
  EXPECT_LT(most, std::size_t{128} << 20);
}

TEST_F(RealEffect, ShowsParametersAsTheEffectWantsThem) {
  const Scene scene = Read(R"("parameters": {"Star": true, "Opacity": 0.25, "Wave Type": {"keyframes": [
    {"time": 0, "value": "Polygon"}, {"time": 1, "value": "Image Contours"}, {"time": 2, "value": "Mask"}]}})");
  const std::map<double, std::string> groupAt = {{0.5, "Polygon"}, {1.5, "Image Contour"}, {2.5, "Mask"}};
  for (const auto& [seconds, open] : groupAt) {
    const std::vector<ParamRow> rows = ParamsAsShown(module, scene, seconds);
    EXPECT_EQ(rows.size(), 33u);
    for (const ParamRow& row : rows) {
      const bool ofAType = row.group == "Polygon" || row.group == "Image Contour" || row.group == "Mask";
      EXPECT_EQ(row.inactive, ofAType && row.group != open) << row.name << " at " << seconds;
      EXPECT_EQ(row.groupOpen, !ofAType || row.group == open) << row.name << " at " << seconds;
      if (row.name == "Opacity") {
        EXPECT_EQ(row.value, "25.0 %");
      }
      if (row.name == "Producer Point") {
        EXPECT_EQ(row.value, "24.0, 16.0 px");
      }
      if (row.name == "Star") {
        EXPECT_EQ(row.value, "on");
      }
    }
  }
  EXPECT_THROW(ParamsAsShown(module, scene, -1), InputError);
}

}  // namespace
}  // namespace orvandel::stage
