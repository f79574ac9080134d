// What is told of waves against what the effect draws.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "cli/frame_list.h"
#include "cli/picture_facts.h"
#include "cli/waves/wave_count.h"
#include "cli/waves/wave_states.h"
#include "stage/loading/loaded_effect.h"
#include "stage/module/effect_module.h"
#include "stage/render/frame_renderer.h"
#include "stage/scene/scene_reader.h"

namespace orvandel::cli {
namespace {

std::filesystem::path ModuleFile() {
  return std::filesystem::path(ORVANDEL_PROGRAM).parent_path().parent_path() / "lib/orvandel/orvandel.so";
}

class Waves : public testing::Test {
 protected:
  stage::Scene Read(const std::string& parameters) const {
    return stage::ReadSceneText(R"({ "version": 1, "width": 400, "height": 300, "frameRate": "25", "duration": 4,
      "parameters": {)" + parameters +
                                    "} }",
                                "scene.json", module_.Catalog());
  }

  stage::EffectModule module_{stage::LoadEffect(ModuleFile())};
};

// The box around all that is drawn is the box around all outlines, since strokes lie inside them: circles, sharp edged,
// with whatever motion, in both modes.
TEST_F(Waves, AreWhereTheEffectDrawsThem) {
  std::mt19937 random(7);
  const auto draw = [&](int low, int high) { return low + static_cast<int>(random() % unsigned(high - low + 1)); };
  int compared = 0;
  for (int round = 0; round < 60; ++round) {
    const std::string parameters =
        "\"Parameters are set at\": " + std::to_string(round % 2 + 1) + ", \"Sides\": 128, \"Render Quality\": 8" +
        ", \"Producer Point\": {\"keyframes\": [{\"time\": 0, \"value\": [" + std::to_string(draw(150, 250)) +
        ", 150]}," + "{\"time\": 4, \"value\": [" + std::to_string(draw(150, 250)) + ", " +
        std::to_string(draw(120, 180)) + "]}]}" + ", \"Frequency\": " + std::to_string(draw(1, 40) / 4.0) +
        ", \"Expansion\": {\"keyframes\": [{\"time\": 0, \"value\": " + std::to_string(draw(1, 8) / 4.0) +
        "}, {\"time\": 4, \"value\": " + std::to_string(draw(1, 8) / 4.0) + "}]}" +
        ", \"Velocity\": " + std::to_string(draw(0, 20)) + ", \"Direction\": " + std::to_string(draw(0, 359)) +
        ", \"Lifespan (sec)\": " + std::to_string(draw(2, 8) / 4.0) + ", \"Fade-out Time\": 0" +
        ", \"Start Width\": 4, \"End Width\": " + std::to_string(draw(1, 9));
    const stage::Scene scene = Read(parameters);
    stage::FrameRenderer renderer(module_, scene, 0, {});
    const std::int32_t frame = draw(1, scene.time.frameCount - 1);
    const PictureFacts facts = FactsOf(renderer.Render(frame));
    double left = 1e9, top = 1e9, right = -1e9, bottom = -1e9;
    for (const WaveState& wave :
         WavesAt(scene, scene.emitters[0], module_.Catalog(), scene.time.TimeOfFrame(frame)).alive) {
      const double reach = wave.radius;
      left = std::min(left, wave.centre.x - reach);
      right = std::max(right, wave.centre.x + reach);
      top = std::min(top, wave.centre.y - reach);
      bottom = std::max(bottom, wave.centre.y + reach);
    }
    if (facts.coverage == 0 || left < 0 || top < 0 || right > 400 || bottom > 300) continue;
    ++compared;
    EXPECT_NEAR(facts.left, left, 1.6) << parameters << " frame " << frame;
    EXPECT_NEAR(facts.right, right, 1.6) << parameters << " frame " << frame;
    EXPECT_NEAR(facts.top, top, 1.6) << parameters << " frame " << frame;
    EXPECT_NEAR(facts.bottom, bottom, 1.6) << parameters << " frame " << frame;
  }
  EXPECT_GT(compared, 20);
}

// The count ahead of rendering bounds the waves that are there, closely; frames left out hold what was born meanwhile.
TEST_F(Waves, AreBoundedByTheCount) {
  for (const char* mode : {"Birth", "Each Frame"}) {
    for (const char* lifespan : {"0.5", R"({"keyframes": [{"time": 0, "value": 0.2}, {"time": 4, "value": 2}]})"}) {
      const stage::Scene scene = Read(std::string(R"("Frequency": {"keyframes": [{"time": 0, "value": 0},
        {"time": 2, "value": 90}, {"time": 4, "value": 3}]}, "Parameters are set at": ")") +
                                      mode + "\", \"Lifespan (sec)\": " + lifespan);
      const auto& catalog = module_.Catalog();
      std::int64_t born = 0;
      for (const std::int32_t frame : AllFrames(scene.time.frameCount)) {
        const WavesAtTime waves = WavesAt(scene, scene.emitters[0], catalog, scene.time.TimeOfFrame(frame));
        const WaveCount alone = CountWaves(scene, catalog, {frame});
        EXPECT_GE(alone.alive, static_cast<std::int64_t>(waves.alive.size())) << frame;
        EXPECT_LE(alone.alive, static_cast<std::int64_t>(waves.alive.size()) + 9) << frame;  // births of three ticks
        EXPECT_GE(alone.held, waves.born) << frame;
        born = waves.born;
      }
      const WaveCount all = CountWaves(scene, catalog, AllFrames(scene.time.frameCount));
      EXPECT_LE(all.alive, born);
      EXPECT_GE(all.held, all.alive);
    }
  }
}

// The first wave at once, then one a period, for any frequency.
TEST_F(Waves, AreBornAPeriodApart) {
  for (const char* frequency : {"0.1", "1", "7", "29.9", "30", "61", "500"}) {
    const stage::Scene scene = Read(std::string("\"Frequency\": ") + frequency);
    const double rate = std::stod(frequency);
    const auto waves = WavesAt(scene, scene.emitters[0], module_.Catalog(), scene.time.TimeOfFrame(90));
    EXPECT_NEAR(static_cast<double>(waves.born), std::floor(3.6 * rate) + 1, 1.0) << frequency;
    for (std::size_t i = 1; i < waves.alive.size(); ++i) {
      EXPECT_NEAR(waves.alive[i - 1].ageSeconds - waves.alive[i].ageSeconds, 1 / rate, 1e-4) << frequency;
    }
  }
}

}  // namespace
}  // namespace orvandel::cli
