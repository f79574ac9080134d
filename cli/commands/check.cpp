// `orvandel check`: everything that a scene's reader refuses, all at once; and what is allowed but costs dear or may
// harm those who watch.
#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/check/flashes.h"
#include "cli/commands/commands.h"
#include "cli/failure.h"
#include "cli/frame_list.h"
#include "cli/interrupt.h"
#include "cli/module_file.h"
#include "cli/waves/wave_count.h"
#include "stage/base/errors.h"
#include "stage/media/sequence_rules.h"
#include "stage/render/scene_renderer.h"

namespace orvandel::cli {
namespace {

using nlohmann::ordered_json;

struct Findings {
  std::vector<std::string> errors, warnings, notes;
};

// --- From the scene alone.

void LookAtWaves(const stage::Scene& scene, const stage::ParamCatalog& catalog, std::int64_t maxWaves,
                 Findings& findings) {
  constexpr std::int64_t kMany = 2000;
  const WaveCount waves = CountWaves(scene, catalog, AllFrames(scene.time.frameCount));
  findings.notes.push_back(fmt::format("at most {} waves alive at once, in frame {}", waves.alive, waves.aliveFrame));
  if (waves.held > maxWaves) {
    findings.warnings.push_back(
        fmt::format("frame {} needs up to {} waves at once; render refuses more than {} unless --max-waves is raised",
                    waves.heldFrame, waves.held, maxWaves));
  } else if (waves.alive > kMany) {
    findings.warnings.push_back(
        fmt::format("up to {} waves are drawn in frame {}: frames will take long; lower "
                    "Frequency or Lifespan (sec)",
                    waves.alive, waves.aliveFrame));
  }
}

void LookAtSequences(const stage::Scene& scene, const stage::ParamCatalog& catalog, Findings& findings) {
  constexpr std::int32_t kShort = 300;
  if (scene.time.frameCount < kShort) return;
  const auto fresh = [&](const stage::Emitter& emitter) {
    return stage::NeedsFreshSequences(scene, emitter, catalog, [](std::int32_t) { return false; });
  };
  if (std::none_of(scene.emitters.begin(), scene.emitters.end(), fresh)) return;
  findings.warnings.push_back(
      "every frame starts anew from time 0, which makes late frames slow: the Mask parameter changes, or settings for "
      "each frame meet a Lifespan that changes or a contour whose source changes");
}

void LookAtTimeBase(const stage::Scene& scene, Findings& findings) {
  constexpr double kMostUnits = 1 << 30;
  const double seconds = static_cast<double>(scene.time.duration) / scene.time.timeScale;
  const double longest = kMostUnits / scene.time.timeScale - 1;
  findings.notes.push_back(fmt::format("{} frames, {} a second; the longest film at this rate is {:.0f} s",
                                       scene.time.frameCount, stage::TextOf(scene.time.frameRate), longest));
  if (seconds > 0.9 * longest) {
    findings.warnings.push_back(
        fmt::format("the duration of {:.0f} s is near the {:.0f} s that this frame rate allows", seconds, longest));
  }
}

// --- From small draft pictures.

constexpr std::int32_t kSmallSide = 160;
constexpr double kMostSeconds = 60;

std::int32_t FramesToWatch(const stage::Scene& scene) {
  const double rate = static_cast<double>(scene.time.frameRate.num) / static_cast<double>(scene.time.frameRate.den);
  return static_cast<std::int32_t>(std::min<double>(scene.time.frameCount, std::max(1.0, kMostSeconds * rate)));
}

void Watch(stage::SceneRenderer& renderer, const stage::Scene& scene, Findings& findings) {
  const double rate = static_cast<double>(scene.time.frameRate.num) / static_cast<double>(scene.time.frameRate.den);
  FlashCounter flashes(rate);
  const std::int32_t count = FramesToWatch(scene);
  for (std::int32_t frame = 0; frame < count; ++frame) {
    if (StopRequested()) throw stage::Interrupted();
    flashes.Add(renderer.Render(frame));
  }
  findings.notes.push_back(fmt::format("flashes looked for in {} of {} frames", count, scene.time.frameCount));
  if (!flashes.TooMany()) return;
  findings.warnings.push_back(fmt::format(
      "more than three flashes within the second before frame {}, over {:.0f} % of the picture: this may harm "
      "people with photosensitive epilepsy",
      flashes.WorstFrame(), flashes.WorstArea() * 100));
}

// What the effect itself refuses shows only when it renders.
void LookAtPictures(stage::EffectModule& module, const stage::Scene& scene, Findings& findings) {
  stage::RenderOptions options;
  options.highQuality = false;
  options.downsample = std::max(1, (std::max(scene.width, scene.height) + kSmallSide - 1) / kSmallSide);
  options.shouldStop = StopRequested;
  try {
    stage::SceneRenderer renderer(module, scene, options);
    Watch(renderer, scene, findings);
  } catch (const stage::EffectError& error) {
    findings.errors.push_back(error.message.empty() ? EffectCodeInWords(error.code) : error.message);
  } catch (const stage::InputError& error) {
    findings.errors.push_back(error.what());
  }
}

Findings CheckScene(stage::EffectModule& module, const CheckRequest& request) {
  Findings findings;
  const SceneRequest& wanted = request.scene;
  findings.errors = stage::SceneComplaints(wanted.file, module.Catalog(), wanted.options);
  if (!findings.errors.empty()) return findings;
  const stage::Scene scene = stage::ReadScene(wanted.file, module.Catalog(), wanted.options);
  LookAtTimeBase(scene, findings);
  const std::size_t before = findings.warnings.size();
  LookAtWaves(scene, module.Catalog(), wanted.maxWaves, findings);
  LookAtSequences(scene, module.Catalog(), findings);
  const bool costly = findings.warnings.size() > before;
  if (request.quick) return findings;
  if (costly) {
    findings.notes.push_back("not rendered, because that would take long: flashes were not looked for");
  } else {
    LookAtPictures(module, scene, findings);
  }
  return findings;
}

void Print(const Findings& findings, bool asJson) {
  if (asJson) {
    const ordered_json json{{"ok", findings.errors.empty()},
                            {"errors", findings.errors},
                            {"warnings", findings.warnings},
                            {"notes", findings.notes}};
    fmt::print("{}\n", json.dump(2, ' ', false, ordered_json::error_handler_t::replace));
    return;
  }
  for (const std::string& error : findings.errors) fmt::print("error: {}\n", error);
  for (const std::string& warning : findings.warnings) fmt::print("warning: {}\n", warning);
  for (const std::string& note : findings.notes) fmt::print("note: {}\n", note);
}

}  // namespace

void Check(const CheckRequest& request) {
  stage::EffectModule module(ModuleFile(request.scene.module));
  const Findings findings = CheckScene(module, request);
  Print(findings, request.asJson);
  module.SetDown();
  if (findings.errors.empty()) return;
  throw stage::InputError(fmt::format("{}: {} mistake{}", request.scene.file.string(), findings.errors.size(),
                                      findings.errors.size() == 1 ? "" : "s"));
}

}  // namespace orvandel::cli
