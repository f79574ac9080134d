// What the effect reports of its waves against what it draws.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>
#include <string>

#include "cli/frame_list.h"
#include "cli/waves/wave_svg.h"
#include "stage/loading/loaded_effect.h"
#include "stage/module/effect_module.h"
#include "stage/render/scene_renderer.h"
#include "stage/reports/reported_waves.h"
#include "stage/reports/wave_count.h"
#include "stage/scene/scene_reader.h"
#include "stage/stills/png_file.h"
#include "tests/cli/program.h"

namespace orvandel::cli {
namespace {

std::filesystem::path ModuleFile() {
  return std::filesystem::path(ORVANDEL_PROGRAM).parent_path().parent_path() / "lib/orvandel/orvandel.so";
}

std::string SceneText(const std::string& parameters, const std::string& more = "") {
  return R"({ "version": 1, "width": 400, "height": 300, "frameRate": "25", "duration": 4, )" + more +
         R"("parameters": {)" + parameters + "} }";
}

class Waves : public testing::Test {
 protected:
  stage::Scene Read(const std::string& parameters, const std::string& more = "") const {
    return stage::ReadSceneText(SceneText(parameters, more), "scene.json", module_.Catalog());
  }
  int Draw(int low, int high) { return low + static_cast<int>(random_() % static_cast<unsigned>(high - low + 1)); }
  std::string Number(int low, int high) { return std::to_string(Draw(low * 4, high * 4) / 4.0); }

  stage::EffectModule module_{stage::LoadEffect(ModuleFile())};
  std::mt19937 random_{7};
};

// What the waves' vector pictures show, drawn by another program, against what the effect draws: every profile,
// polygons, rounded stars and masks, with whatever motion, opacity and pixel aspect.
TEST_F(Waves, AreReportedAsTheyAreDrawn) {
  const TempFolder folder;
  const std::string svg = folder / "waves.svg", drawn = folder / "waves.png";
  for (int round = 0; round < 28; ++round) {
    const stage::Scene scene = Read(
        "\"Parameters are set at\": " + std::to_string(round % 2 + 1) + ", \"Sides\": " + std::to_string(Draw(3, 60)) +
            ", \"Wave Type\": " + (round % 4 == 3 ? "\"Mask\", \"Mask\": \"m\"" : "\"Polygon\"") +
            ", \"Curve Size\": " + (round % 5 == 4 ? "0.7" : "0") + ", \"Curvyness\": 0.5, \"Render Quality\": 8" +
            ", \"Producer Point\": {\"keyframes\": [{\"time\": 0, \"value\": [" + Number(150, 250) +
            ", 150]}, {\"time\": 4, \"value\": [" + Number(150, 250) + ", " + Number(120, 180) + "]}]}" +
            ", \"Frequency\": 0.5, \"Expansion\": " + Number(1, 2) + ", \"Velocity\": " + Number(0, 20) +
            ", \"Direction\": " + Number(0, 359) + ", \"Orientation\": " + Number(0, 90) + ", \"Spin\": " +
            Number(-90, 90) + ", \"Opacity\": 0.6, \"Lifespan (sec)\": 5, \"Fade-in Time\": 1, \"Fade-out Time\": 2" +
            ", \"Profile\": " + std::to_string(round % 7 + 1) + ", \"Start Width\": 10, \"End Width\": " +
            Number(10, 20) + ", \"Reflection\": " + (round % 3 == 1 ? "true" : "false"),
        R"("masks": {"m": {"d": "M 100 100 L 160 110 L 150 170 L 90 150 Z"}}, "pixelAspect": )" +
            std::string(round % 3 == 0 ? "2, " : "1, "));
    stage::WaveReports reports(module_, scene);
    stage::SceneRenderer renderer(module_, scene, {});
    const std::int32_t frame = Draw(50, scene.time.frameCount - 1);
    const auto& waves = reports.Of(frame).at(0);
    const stage::Picture picture = renderer.Render(frame);
    EXPECT_EQ(renderer.WaveCount(), static_cast<std::int64_t>(waves.size()));
    WriteFile(svg, WavesAsSvg(scene, {{.reflects = round % 3 == 1, .waves = &waves}}));
    ASSERT_EQ(std::system(("rsvg-convert " + svg + " -o " + drawn).c_str()), 0) << "of the package librsvg2-bin";
    const stage::Picture vector = stage::ReadPng(drawn);
    ASSERT_EQ(vector.bytes.size(), picture.bytes.size());
    double difference = 0, sum = 0;
    for (std::size_t i = 0; i < picture.bytes.size(); i += 4) {
      difference += std::abs(picture.bytes[i] - vector.bytes[i]);
      sum += picture.bytes[i];
    }
    EXPECT_GT(sum, 20000);
    // Pixels at edges differ by how they are covered, narrow ones more.
    EXPECT_LT(difference, (round % 3 == 0 ? 0.07 : 0.05) * sum) << "round " << round << ", frame " << frame;
  }
}

// The count ahead of rendering bounds the waves that are there, closely; frames left out hold what was born meanwhile.
TEST_F(Waves, AreBoundedByTheCount) {
  for (const char* mode : {"Birth", "Each Frame"}) {
    for (const char* lifespan : {"0.5", R"({"keyframes": [{"time": 0, "value": 0.2}, {"time": 4, "value": 2}]})"}) {
      const stage::Scene scene = Read(std::string(R"("Frequency": {"keyframes": [{"time": 0, "value": 0},
        {"time": 2, "value": 90}, {"time": 4, "value": 3}]}, "Parameters are set at": ")") +
                                      mode + "\", \"Lifespan (sec)\": " + lifespan);
      stage::RenderOptions draft;
      draft.downsample = 20;
      stage::SceneRenderer renderer(module_, scene, draft);
      std::int64_t most = 0;
      for (const std::int32_t frame : AllFrames(scene.time.frameCount)) {
        renderer.Render(frame);
        const std::int64_t waves = renderer.WaveCount();
        const stage::WaveCount alone = stage::CountWaves(scene, module_.Catalog(), {frame});
        EXPECT_GE(alone.alive, waves) << frame;
        EXPECT_LE(alone.alive, waves + 10) << frame;  // births of three ticks, and one for the phase's last bit
        EXPECT_GE(alone.held, alone.alive) << frame;
        most = std::max(most, waves);
      }
      const stage::WaveCount all = stage::CountWaves(scene, module_.Catalog(), AllFrames(scene.time.frameCount));
      EXPECT_GE(all.alive, most);
      EXPECT_GE(all.held, all.alive);
      EXPECT_GT(most, 20);
    }
  }
}

// The command prints what the effect reports.
TEST_F(Waves, AreExportedAsLinesAndAsVectorPictures) {
  const TempFolder folder;
  const std::string scene = folder / "scene.json";
  WriteFile(scene, SceneText(R"("Frequency": 2, "Expansion": 2, "Sides": 5, "Spin": 30, "Start Width": 12,
    "End Width": 6, "Profile": "Sine", "Color": "#3080ff", "Producer Point": [120, 150], "Reflection": true,
    "Fade-out Time": 2)"));
  const Outcome lines = RunProgram({"waves", scene, "--frames", "0,70"});
  ASSERT_EQ(lines.exitCode, 0) << lines.error;
  std::istringstream text(lines.output);
  int count = 0;
  for (std::string line; std::getline(text, line); ++count) {
    const auto wave = nlohmann::json::parse(line);
    EXPECT_EQ(wave["frame"], 70);
    EXPECT_EQ(wave["wave"], count);
    EXPECT_EQ(wave["color"], "#3080ff");
    double farthest = 0;
    for (const auto& point : wave["outline"]) {
      farthest = std::max(farthest, std::hypot(point[0].get<double>() - wave["centre"][0].get<double>(),
                                               point[1].get<double>() - wave["centre"][1].get<double>()));
    }
    EXPECT_NEAR(farthest, wave["size"].get<double>(), 0.01);
  }
  EXPECT_EQ(count, 6);
  ASSERT_EQ(RunProgram({"waves", scene, "--frames", "70,71", "--svg", folder / "w.svg"}).exitCode, 0);
  EXPECT_EQ(folder.Names(), (std::vector<std::string>{"scene.json", "w.0070.svg", "w.0071.svg"}));
  EXPECT_EQ(RunProgram({"waves", scene, "--frames", "70,71", "--svg", folder / "w.svg"}).exitCode, 2);
}

}  // namespace
}  // namespace orvandel::cli
