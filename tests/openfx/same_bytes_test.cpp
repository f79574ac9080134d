// A frame through an OpenFX host has the bytes of the scene that says the same.
#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>

#include "scene_player.h"
#include "stage/base/errors.h"
#include "stage/loading/loaded_effect.h"
#include "stage/module/effect_module.h"
#include "stage/render/scene_renderer.h"
#include "stage/scene/scene_reader.h"
#include "tests/support/dice.h"

namespace orvandel::ofx::test {
namespace {

namespace fs = std::filesystem;
using orvandel::test::Dice;

class SameBytes : public testing::Test {
 protected:
  const stage::ParamCatalog& Catalog() const { return module_.Catalog(); }

  // `path`: of the scene's mask, if it has one.
  void Compare(const stage::Scene& scene, const std::string& path, int k, std::vector<int> frames) {
    stage::SceneRenderer renderer(module_, scene, {.downsample = k});
    const bool traces = scene.input || !scene.layers.empty();
    const Habits habits = HabitsOf(scene, k);
    const Host host(binary_, habits, traces ? context::kGeneral : context::kGenerator);
    ASSERT_EQ(host.Described(), kOk);
    const ScenePlayer player(scene, Catalog());
    const auto effect = host.Create();
    player.Direct(*effect, path);
    if (traces) {
      effect->clips[clip::kSource].pictures =
          player.Pictures(host.Had(), scene.layers.empty() ? *scene.input : scene.layers[0], k);
      effect->params.Find("composite")->value = [](double) { return std::array<double, 3>{1, 0, 0}; };
    }
    // Half of the hosts say that nothing but the time changes until they say otherwise.
    sequence_ = !sequence_;
    if (sequence_) host.Do(action::kBeginSequenceRender, effect.get());
    for (const int frame : frames) {
      const auto rendered = host.Render(*effect, frame);
      ASSERT_EQ(rendered.status, kOk) << testing::PrintToString(effect->messages);
      ASSERT_TRUE(rendered.keptToWindow);
      ASSERT_TRUE(effect->lent.empty());
      ASSERT_EQ(rendered.image->Bytes(), renderer.Render(frame).bytes) << "frame " << frame;
    }
    EXPECT_TRUE(effect->messages.empty()) << testing::PrintToString(effect->messages);
  }

  bool sequence_ = false;
  Binary binary_{ORVANDEL_OFX_FILE};
  stage::EffectModule module_{stage::LoadEffect(ORVANDEL_MODULE_FILE)};
};

// Masks are the plug-in's files, and come below.
TEST_F(SameBytes, TheReferenceScenes) {
  int compared = 0;
  for (const auto& entry : fs::directory_iterator(ORVANDEL_GOLDEN_SCENES)) {
    if (entry.path().extension() != ".json") continue;
    SCOPED_TRACE(entry.path().filename());
    const stage::Scene scene = stage::ReadScene(entry.path(), Catalog());
    if (!scene.masks.empty() || scene.emitters.size() > 1 || scene.layers.size() > 1) continue;
    if (entry.path().filename() == "contour_source_smaller.json")
      continue;  // a host's layers are as large as the frame
    Compare(scene, "", 1, {40, 12, 41, 0, 75});
    if (scene.layers.empty()) Compare(scene, "", 2, {33});
    if (HasFatalFailure()) return;
    ++compared;
  }
  EXPECT_GT(compared, 20);
}

// Every parameter with a value, or with keys, anywhere in its range.
stage::Track RandomTrack(Dice& dice, const stage::ParamInfo& info) {
  stage::Track track;
  if (dice.OneIn(2)) return track;
  const int count = dice.OneIn(2) ? 1 : 3;
  for (int i = 0; i < count; ++i) {
    const double low = std::max(info.ValidMin(), -400.0), high = std::min(info.ValidMax(), 400.0);
    const double number = low + (high - low) * std::pow(dice.Fraction(), 3);
    stage::Key key{i * 0.5, number, {}};
    switch (info.Type()) {
      case ORV_PARAM_POINT:
        key.value = stage::PointValue{dice.Whole(-20, 180) + 0.25, dice.Whole(-20, 110) + 0.625};
        break;
      case ORV_PARAM_COLOR:
        key.value = stage::ColorValue{double(dice(256)), double(dice(256)), double(dice(256))};
        break;
      case ORV_PARAM_CHECKBOX:
        key.value = stage::Choice{static_cast<std::int32_t>(dice(2))};
        break;
      case ORV_PARAM_POPUP:
        key.value = stage::Choice{static_cast<std::int32_t>(dice(static_cast<std::uint32_t>(info.choices.size()))) + 1};
        break;
      default:
        break;
    }
    track.keys.push_back(key);
  }
  return track;
}

TEST_F(SameBytes, ScenesOfRandomValues) {
  const std::string path = "M 40 25 C 60 5 100 5 120 25 L 120 65 L 40 65 Z";
  for (std::uint32_t seed = 1; seed <= 24; ++seed) {
    SCOPED_TRACE(seed);
    Dice dice(seed);
    stage::Scene scene = stage::ReadSceneText(R"({"version": 1, "width": 160, "height": 90, "frameRate": )" +
                                                  std::string(seed % 3 == 0 ? "25" : "30") +
                                                  std::string(seed % 2 == 0 ? "" : R"(, "pixelAspect": "8/9")") +
                                                  R"(, "duration": 4, "masks": {"m": {"d": ")" + path + R"("}}})",
                                              "scene.json", Catalog());
    for (const stage::ParamInfo& info : Catalog().Params()) {
      if (!info.BearsValue() || info.Type() == ORV_PARAM_PATH || info.Type() == ORV_PARAM_LAYER) continue;
      auto& track = scene.emitters[0].tracks[static_cast<std::size_t>(info.hostIndex)];
      track = RandomTrack(dice, info);
      if (info.name == "Parameters are set at" && track.keys.size() > 1) track.keys.resize(1);
      if (info.name == "Render Quality") track = {};
    }
    Compare(scene, path, 1, {static_cast<int>(dice(60)), static_cast<int>(dice(60)), static_cast<int>(dice(60))});
    if (HasFatalFailure()) return;
  }
}

// Each outline is drawn by an effect of its own, with its part of the Expansion.
TEST_F(SameBytes, DrawingsOfSeveralOutlines) {
  for (const std::string name : {"crow.svg", "mark.svg"}) {
    SCOPED_TRACE(name);
    const fs::path media = fs::absolute(ORVANDEL_MEDIA);
    const stage::Scene scene = stage::ReadSceneText(
        R"({"version": 1, "width": 160, "height": 90, "frameRate": 30, "duration": 4, "masks": {"m": {"file": ")" +
            name +
            R"("}}, "parameters": {"Wave Type": "Mask", "Spin": {"keyframes": [{"time": 0, "value": 0},
            {"time": 3, "value": 90}]}}})",
        media / "scene.json", Catalog());
    Compare(scene, (media / name).string(), 1, {50, 20});
    Compare(scene, (media / name).string(), 2, {50});
  }
}

TEST_F(SameBytes, EightThreadsWithInstancesOfTheirOwnAndWithOne) {
  stage::Scene scene = stage::ReadSceneText(
      R"json({"version": 1, "width": 160, "height": 90, "frameRate": 30, "duration": 2, "parameters": {
        "Frequency": {"keyframes": [{"time": 0, "value": 3}, {"time": 2, "value": 9}]}, "Spin": 90, "Sides": 5}})json",
      "scene.json", Catalog());
  stage::SceneRenderer renderer(module_, scene, {});
  std::vector<std::vector<std::uint8_t>> expected;
  for (int frame = 0; frame < 60; ++frame) expected.push_back(renderer.Render(frame).bytes);
  const Host host(binary_, HabitsOf(scene), context::kGenerator);
  const ScenePlayer player(scene, Catalog());
  const auto shared = host.Create();
  player.Direct(*shared, "");
  std::atomic<int> wrong{0};
  const auto play = [&](std::uint32_t seed) {
    Dice dice(seed);
    for (int i = 0; i < 12; ++i) {
      const auto own = host.Create();  // some hosts make one for every frame
      player.Direct(*own, "");
      const int frame = static_cast<int>(dice(60));
      for (OfxImageEffect* effect : {own.get(), shared.get()}) {
        const auto rendered = host.Render(*effect, frame);
        if (rendered.status != kOk || rendered.image->Bytes() != expected[static_cast<std::size_t>(frame)]) ++wrong;
      }
    }
  };
  // Some hosts' threads have small stacks.
  struct Part {
    std::function<void(std::uint32_t)> play;
    std::uint32_t seed;
    pthread_t thread;
  };
  std::vector<Part> parts(8, {play, 0, {}});
  pthread_attr_t small;
  pthread_attr_init(&small);
  pthread_attr_setstacksize(&small, 256 << 10);
  for (Part& part : parts) {
    part.seed = static_cast<std::uint32_t>(&part - parts.data());
    const auto begin = [](void* whole) -> void* {
      const Part& own = *static_cast<Part*>(whole);
      own.play(own.seed);
      return nullptr;
    };
    ASSERT_EQ(pthread_create(&part.thread, &small, begin, &part), 0);
  }
  for (const Part& part : parts) pthread_join(part.thread, nullptr);
  pthread_attr_destroy(&small);
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace orvandel::ofx::test
