// `orvandel describe`: one frame in words and numbers. The waves are those that the effect reports; facts about the
// picture are measured in it.
#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "cli/commands/commands.h"
#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/module_file.h"
#include "cli/picture_facts.h"
#include "cli/render/background_option.h"
#include "cli/scene_input.h"
#include "cli/text_table.h"
#include "cli/waves/wave_limit.h"
#include "stage/base/errors.h"
#include "stage/render/scene_renderer.h"
#include "stage/reports/emitter_values.h"
#include "stage/reports/param_text.h"
#include "stage/reports/reported_waves.h"
#include "stage/reports/wave_count.h"

namespace orvandel::cli {
namespace {

using nlohmann::ordered_json;

// Listed one by one; the newest are the ones that a person looks for.
constexpr std::size_t kMostInText = 20, kMostInJson = 1000;

constexpr const char* kWavesFrom = "reported by the effect as it renders the frame";
constexpr const char* kPictureFrom = "measured in the rendered frame, without what stands behind";

struct EffectAtTime {
  std::string waveType, setAt;
  std::vector<stage::ReportedWave> waves;  // alive, the oldest first
};

struct Description {
  std::int32_t frame = 0;
  double seconds = 0;
  std::vector<EffectAtTime> effects;
  PictureFacts picture;
};

std::int32_t FrameAt(const stage::Scene& scene, double seconds) {
  const double units = seconds * scene.time.timeScale;
  const auto frame = static_cast<std::int64_t>(units / scene.time.timeStep + 1e-6);
  if (frame < scene.time.frameCount) return static_cast<std::int32_t>(frame);
  const double last = (scene.time.frameCount - 1.0) * scene.time.timeStep / scene.time.timeScale;
  throw stage::InputError(fmt::format("--time: {} s is after the scene's last frame at {:.3f} s", seconds, last));
}

Description Look(stage::EffectModule& module, const stage::Scene& scene, const DescribeRequest& request) {
  Description description;
  description.frame = FrameAt(scene, request.seconds);
  RefuseTooManyWaves(scene, stage::CountWaves(scene, module.Catalog(), {description.frame}), request.scene.maxWaves);
  const std::int32_t hostTime = scene.time.TimeOfFrame(description.frame);
  description.seconds = static_cast<double>(hostTime - scene.time.preroll) / scene.time.timeScale;
  const std::int64_t tick = hostTime * static_cast<std::int64_t>(stage::kTicksPerSecond) / scene.time.timeScale;
  stage::WaveReports reports(module, scene, LimitedTo(request.scene.maxWaves));
  const auto& waves = reports.Of(description.frame);
  for (std::size_t i = 0; i < waves.size(); ++i) {
    const stage::EmitterValues values(scene, scene.emitters[i], module.Catalog());
    description.effects.push_back(
        {values.ChoiceText("Wave Type", tick), values.ChoiceText("Parameters are set at", tick), waves[i]});
  }
  stage::RenderOptions options;
  options.shouldStop = StopRequested;
  stage::SceneRenderer renderer(module, scene, options);
  description.picture = FactsOf(renderer.RenderEffects(description.frame));
  renderer.Finish();
  return description;
}

// --- As text.

std::string Span(double low, double high, const char* unit) {
  const std::string from = fmt::format("{:.1f}", low), to = fmt::format("{:.1f}", high);
  return from == to ? fmt::format("{} {}", from, unit) : fmt::format("{} to {} {}", from, to, unit);
}

template <typename Field>
std::string SpanOf(const std::vector<stage::ReportedWave>& waves, const Field& field) {
  const auto [low, high] = std::minmax_element(
      waves.begin(), waves.end(),
      [&](const stage::ReportedWave& a, const stage::ReportedWave& b) { return field(a.wave) < field(b.wave); });
  return Span(field(low->wave), field(high->wave), "px");
}

std::string Sentence(const EffectAtTime& effect) {
  const auto& waves = effect.waves;
  std::string text = fmt::format("{}, set at {}: {} wave{} alive", effect.waveType, effect.setAt, waves.size(),
                                 waves.size() == 1 ? "" : "s");
  if (waves.empty()) return text + ".";
  return text + fmt::format("; radius {}, centres from x {}, y {}.",
                            SpanOf(waves, [](const OrvWave& wave) { return wave.size; }),
                            SpanOf(waves, [](const OrvWave& wave) { return wave.centreX; }),
                            SpanOf(waves, [](const OrvWave& wave) { return wave.centreY; }));
}

std::string WaveTable(const std::vector<stage::ReportedWave>& waves) {
  std::vector<std::vector<std::string>> rows{{"age", "centre", "radius", "turn", "stroke", "opacity", "colour"}};
  const std::size_t count = std::min(waves.size(), kMostInText);
  for (std::size_t i = waves.size(); i > waves.size() - count; --i) {
    const OrvWave& wave = waves[i - 1].wave;
    rows.push_back({fmt::format("{:.3f} s", wave.age), fmt::format("{:.1f}, {:.1f}", wave.centreX, wave.centreY),
                    fmt::format("{:.1f} px", wave.size), fmt::format("{:.1f}°", wave.angle),
                    fmt::format("{:.1f} px", wave.width), fmt::format("{:.0f} %", wave.opacity * 100),
                    stage::ColorText(waves[i - 1].Color())});
  }
  std::string text = TextTable(rows);
  if (waves.size() > count) text += fmt::format("and {} older\n", waves.size() - count);
  return text;
}

std::string PictureSentence(const PictureFacts& picture) {
  if (picture.coverage == 0) return "Nothing is visible.";
  return fmt::format(
      "{:.1f} % of the picture is covered, between {}, {} and {}, {}; mean colour {}, mean alpha {:.3f}.",
      picture.coverage * 100, picture.left, picture.top, picture.right, picture.bottom,
      stage::ColorText(picture.meanColor), picture.meanAlpha);
}

void PrintText(const stage::Scene& scene, const Description& description) {
  Print("{}: frame {} of 0..{}, at {:.3f} s; {} x {} pixels\n\n", scene.file.string(), description.frame,
        scene.time.frameCount - 1, description.seconds, scene.width, scene.height);
  for (std::size_t i = 0; i < description.effects.size(); ++i) {
    const EffectAtTime& effect = description.effects[i];
    const std::string number = description.effects.size() > 1 ? fmt::format("Effect {}: ", i + 1) : "";
    Print("{}{}\n", number, Sentence(effect));
    if (!effect.waves.empty()) Print("{}", WaveTable(effect.waves));
    Print("\n");
  }
  const std::string behind = BackgroundText(scene);
  if (!behind.empty()) Print("Behind it: {}.\n", behind);
  Print("{}\n\nThe waves are {}; the picture's numbers are {}.\n", PictureSentence(description.picture), kWavesFrom,
        kPictureFrom);
}

// --- As JSON.

ordered_json WaveJson(const stage::ReportedWave& reported) {
  const OrvWave& wave = reported.wave;
  return {{"age", wave.age},
          {"centre", {wave.centreX, wave.centreY}},
          {"radius", wave.size},
          {"turn", wave.angle},
          {"strokeWidth", wave.width},
          {"opacity", wave.opacity},
          {"color", stage::ColorText(reported.Color())}};
}

ordered_json EffectJson(const EffectAtTime& effect) {
  const auto& waves = effect.waves;
  ordered_json list = ordered_json::array();
  for (std::size_t i = waves.size() - std::min(waves.size(), kMostInJson); i < waves.size(); ++i) {
    list.push_back(WaveJson(waves[i]));
  }
  return {{"waveType", effect.waveType}, {"setAt", effect.setAt}, {"alive", waves.size()}, {"waves", std::move(list)}};
}

ordered_json PictureJson(const PictureFacts& picture) {
  ordered_json json{{"from", kPictureFrom}, {"coverage", picture.coverage}, {"meanAlpha", picture.meanAlpha}};
  if (picture.coverage == 0) return json;
  json["box"] = {picture.left, picture.top, picture.right, picture.bottom};
  json["meanColor"] = stage::ColorText(picture.meanColor);
  return json;
}

void PrintJson(const stage::Scene& scene, const Description& description) {
  ordered_json effects = ordered_json::array();
  for (const EffectAtTime& effect : description.effects) effects.push_back(EffectJson(effect));
  ordered_json json{{"scene", scene.file.string()},
                    {"frame", description.frame},
                    {"seconds", description.seconds},
                    {"size", {scene.width, scene.height}},
                    {"wavesFrom", kWavesFrom},
                    {"effects", std::move(effects)},
                    {"picture", PictureJson(description.picture)}};
  if (!scene.background.IsNothing()) json["background"] = BackgroundText(scene);
  Print("{}\n", json.dump(2, ' ', false, ordered_json::error_handler_t::replace));
}

}  // namespace

void Describe(const DescribeRequest& request) {
  stage::EffectModule module(stage::LoadEffect(ModuleFile(request.scene.module)));
  const stage::Scene scene = ReadSceneOf(request.scene, module.Catalog());
  const Description description = Look(module, scene, request);
  if (request.asJson) {
    PrintJson(scene, description);
  } else {
    PrintText(scene, description);
  }
  module.SetDown();
}

}  // namespace orvandel::cli
