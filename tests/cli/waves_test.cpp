// What the effect reports of its waves against what it draws.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>
#include <string>

#include "cli/frame_list.h"
#include "cli/waves/reported_waves.h"
#include "cli/waves/wave_count.h"
#include "stage/loading/loaded_effect.h"
#include "stage/media/media_in.h"
#include "stage/module/effect_module.h"
#include "stage/render/scene_renderer.h"
#include "stage/scene/scene_reader.h"
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

// Inside by the even-odd rule.
bool IsInside(const std::vector<stage::PointValue>& outline, double x, double y) {
  bool inside = false;
  stage::PointValue a = outline.back();
  for (const stage::PointValue& b : outline) {
    if ((a.y > y) != (b.y > y) && x < a.x + (y - a.y) / (b.y - a.y) * (b.x - a.x)) inside = !inside;
    a = b;
  }
  return inside;
}

double DistanceTo(const std::vector<stage::PointValue>& outline, double x, double y) {
  double nearest = HUGE_VAL;
  stage::PointValue a = outline.back();
  for (const stage::PointValue& b : outline) {
    const double dx = b.x - a.x, dy = b.y - a.y;
    const double length = dx * dx + dy * dy;
    const double t = length > 0 ? std::clamp(((x - a.x) * dx + (y - a.y) * dy) / length, 0.0, 1.0) : 0;
    nearest = std::min(nearest, std::hypot(x - a.x - t * dx, y - a.y - t * dy));
    a = b;
  }
  return nearest;
}

// A pixel well inside a reported stroke (inside its outline, nearer to it than its width) has the stroke's alpha, one
// well outside of all strokes has none: polygons, rounded ones and masks, with whatever motion and pixel aspect.
TEST_F(Waves, AreReportedAsTheyAreDrawn) {
  constexpr double kMargin = 1.2;  // pixels that a stroke's edge may cover partly
  int covered = 0, empty = 0;
  for (int round = 0; round < 40; ++round) {
    const std::string aspect = round % 3 == 0 ? "2" : "1";
    const stage::Scene scene = Read(
        "\"Parameters are set at\": " + std::to_string(round % 2 + 1) + ", \"Sides\": " + std::to_string(Draw(3, 60)) +
            ", \"Wave Type\": " + (round % 4 == 3 ? "\"Mask\", \"Mask\": \"m\"" : "\"Polygon\"") +
            ", \"Curve Size\": " + (round % 5 == 4 ? "0.7" : "0") + ", \"Curvyness\": 0.5, \"Render Quality\": 8" +
            ", \"Producer Point\": {\"keyframes\": [{\"time\": 0, \"value\": [" + Number(150, 250) +
            ", 150]}, {\"time\": 4, \"value\": [" + Number(150, 250) + ", " + Number(120, 180) + "]}]}" +
            ", \"Frequency\": 0.5, \"Expansion\": " + Number(1, 2) + ", \"Velocity\": " + Number(0, 20) +
            ", \"Direction\": " + Number(0, 359) + ", \"Orientation\": " + Number(0, 90) + ", \"Spin\": " +
            Number(-90, 90) + ", \"Opacity\": 0.6, \"Lifespan (sec)\": 5, \"Fade-in Time\": 0, \"Fade-out Time\": 0" +
            ", \"Profile\": \"Square\", \"Start Width\": 4, \"End Width\": " + Number(4, 9),
        R"("masks": {"m": {"d": "M 100 100 L 160 110 L 150 170 L 90 150 Z"}}, "pixelAspect": )" + aspect + ", ");
    WaveReports reports(module_, scene, 0);
    stage::SceneRenderer renderer(module_, scene, {});
    const std::int32_t frame = Draw(10, scene.time.frameCount - 1);
    const auto waves = reports.Of(frame).at(0);
    const stage::Picture picture = renderer.Render(frame);
    EXPECT_EQ(renderer.WaveCount(), static_cast<std::int64_t>(waves.size()));
    // In square pixels, where distances are true.
    const double squeeze = scene.pixelAspect.num == 2 ? 2 : 1;
    std::vector<std::vector<stage::PointValue>> outlines;
    for (const ReportedWave& wave : waves) {
      auto& outline = outlines.emplace_back();
      for (const OrvWavePoint& point : wave.outline)
        outline.push_back({wave.OnLayer(point).x * squeeze, wave.OnLayer(point).y});
    }
    for (int sample = 0; sample < 3000; ++sample) {
      const int column = Draw(0, 398), row = Draw(0, 298);  // the last ones are blended twice
      const double x = (column + 0.5) * squeeze, y = row + 0.5;
      double transparent = 1;
      bool clear = true;
      for (std::size_t i = 0; i < waves.size() && clear; ++i) {
        if (outlines[i].size() < 3) continue;
        const double distance = DistanceTo(outlines[i], x, y), width = waves[i].wave.width;
        // Ends of the band near corners, where the inner edge lies further away than the width, are left alone.
        const bool inside = IsInside(outlines[i], x, y);
        const double near = distance * (inside ? 1 : -1);
        if (std::fabs(near) < kMargin * squeeze || std::fabs(near - width) < kMargin * squeeze) clear = false;
        if (inside && distance > width && distance < 3 * width) clear = false;
        if (waves[i].wave.size < 2 * width) clear = false;
        if (inside && distance < width) transparent *= 1 - double{waves[i].wave.opacity};
      }
      if (!clear) continue;
      ++(transparent < 1 ? covered : empty);
      const int alpha = picture.bytes[(static_cast<std::size_t>(row) * 400 + static_cast<std::size_t>(column)) * 4];
      ASSERT_NEAR(alpha, 255 * (1 - transparent), 2.5)
          << "round " << round << " frame " << frame << " at " << column << "," << row;
    }
  }
  EXPECT_GT(covered, 1000);
  EXPECT_GT(empty, 10000);
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
        const WaveCount alone = CountWaves(scene, module_.Catalog(), {frame});
        EXPECT_GE(alone.alive, waves) << frame;
        EXPECT_LE(alone.alive, waves + 10) << frame;  // births of three ticks, and one for the phase's last bit
        EXPECT_GE(alone.held, alone.alive) << frame;
        most = std::max(most, waves);
      }
      const WaveCount all = CountWaves(scene, module_.Catalog(), AllFrames(scene.time.frameCount));
      EXPECT_GE(all.alive, most);
      EXPECT_GE(all.held, all.alive);
      EXPECT_GT(most, 20);
    }
  }
}

// The command prints what the effect reports; the vector pictures, drawn by another program, show the same.
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
  if (std::system("command -v rsvg-convert > /dev/null") != 0) GTEST_SKIP() << "no rsvg-convert to draw them";
  const std::string drawn = folder / "w.png";
  ASSERT_EQ(std::system(("rsvg-convert " + (folder / "w.0070.svg").string() + " -o " + drawn).c_str()), 0);
  stage::Media media;
  media.file = drawn;
  const stage::Picture vector = stage::OpenMedia(media, {})->Decode(0);
  const stage::Scene read = stage::ReadScene(scene, module_.Catalog(), {});
  const stage::Picture picture = stage::SceneRenderer(module_, read, {}).Render(70);
  ASSERT_EQ(vector.bytes.size(), picture.bytes.size());
  std::int64_t difference = 0, sum = 0;
  for (std::size_t i = 0; i < picture.bytes.size(); i += 4) {
    difference += std::abs(picture.bytes[i] - vector.bytes[i]);
    sum += picture.bytes[i];
  }
  EXPECT_GT(sum, 0);
  EXPECT_LT(static_cast<double>(difference), 0.05 * static_cast<double>(sum)) << "alpha of " << drawn;
}

}  // namespace
}  // namespace orvandel::cli
