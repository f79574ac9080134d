// `orvandel check`: every mistake that the scene's reader refuses, all at once; and what is allowed but expensive or
// harmful to viewers.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "cli/check/flashes.h"
#include "cli/check/little_shown.h"
#include "cli/commands/commands.h"
#include "cli/console.h"
#include "cli/failure.h"
#include "cli/frame_list.h"
#include "cli/interrupt.h"
#include "cli/module_file.h"
#include "cli/render/film_sound.h"
#include "cli/render/memory_need.h"
#include "cli/scene_input.h"
#include "stage/base/errors.h"
#include "stage/media/media_in.h"
#include "stage/render/scene_renderer.h"
#include "stage/reports/media_use.h"
#include "stage/reports/scene_remarks.h"

namespace orvandel::cli {
namespace {

using nlohmann::ordered_json;

// Of a version of their own, so that programs can rely on the form of `check --json`.
constexpr int kJsonFormat = 1;

// What a render will take. Absent where it is not known: the scene is refused, or was not rendered.
struct Estimates {
  std::optional<std::int32_t> frames;
  std::optional<std::int64_t> waves;         // most alive at once, counted before rendering
  std::optional<std::uint64_t> memoryBytes;  // of one process that renders pictures
  std::optional<double>
      costliestFrameSeconds;  // the frame with the most waves, rendered alone at full size and quality
  std::int32_t costliestFrame = 0;
};

struct Findings : stage::Remarks {
  std::vector<stage::Complaint> errors;
  Estimates estimates;

  void AddError(std::string message) { errors.push_back({std::move(message), {}, {}, {}}); }
};

// --- From the media.

std::string MediumFault(const stage::Media& medium, const stage::Scene& scene) {
  try {
    const auto source = stage::OpenMedia(medium, scene.time);
    source->Decode(source->KeyAt(0));
  } catch (const stage::InputError& error) {
    return error.what();
  }
  return {};
}

void LookAtSound(const stage::Scene& scene, Findings& findings) {
  try {
    const SoundChoice choice = ChooseSound(scene, scene.background.medium, {0});
    if (!choice.note.empty()) findings.notes.push_back(choice.note);
    if (choice.sound) {
      findings.notes.push_back(fmt::format("films carry the sound of {}", choice.sound->file.filename().string()));
    }
  } catch (const stage::InputError& error) {
    findings.AddError(error.what());
  }
}

// A layer that nothing shows is never opened by a render, so it only warns.
void LookAtMedia(const stage::Scene& scene, const stage::ParamCatalog& catalog, Findings& findings) {
  if (scene.input) {
    if (std::string fault = MediumFault(*scene.input, scene); !fault.empty()) findings.AddError(fault);
  }
  if (scene.background.medium) {
    if (std::string fault = MediumFault(*scene.background.medium, scene); !fault.empty()) findings.AddError(fault);
  }
  stage::RemarkOnMedia(scene, catalog, findings);
  LookAtSound(scene, findings);
  for (std::size_t i = 0; i < scene.layers.size(); ++i) {
    std::string fault = MediumFault(scene.layers[i], scene);
    if (fault.empty()) continue;
    if (stage::IsLayerUsed(i, scene, catalog)) {
      findings.AddError(std::move(fault));
    } else {
      findings.warnings.push_back(fault + " (no parameter uses this layer)");
    }
  }
}

// --- From small draft pictures.

constexpr std::int32_t kSmallSide = 160;
constexpr double kMostSeconds = 60;

std::int32_t FramesToWatch(const stage::Scene& scene) {
  const double rate = static_cast<double>(scene.time.frameRate.num) / static_cast<double>(scene.time.frameRate.den);
  return static_cast<std::int32_t>(std::min<double>(scene.time.frameCount, std::max(1.0, kMostSeconds * rate)));
}

ShownCounter Watch(stage::SceneRenderer& renderer, const stage::Scene& scene, Findings& findings) {
  const double rate = static_cast<double>(scene.time.frameRate.num) / static_cast<double>(scene.time.frameRate.den);
  FlashCounter flashes(rate);
  ShownCounter shown;
  const std::int32_t count = FramesToWatch(scene);
  std::vector<std::int64_t> waves;  // alive, by frame
  for (std::int32_t frame = 0; frame < count; ++frame) {
    if (StopRequested()) throw stage::Interrupted();
    const stage::Picture picture = renderer.Render(frame);
    flashes.Add(picture);
    shown.Add(renderer.Coverage());
    waves.push_back(renderer.WaveCount());
  }
  findings.notes.push_back(fmt::format("flashes looked for in {} of {} frames, with {} waves at most", count,
                                       scene.time.frameCount, *std::max_element(waves.begin(), waves.end())));
  if (!flashes.TooMany()) return shown;
  findings.warnings.push_back(fmt::format(
      "more than three flashes within the second before frame {}, over {:.0f} % of the picture, where {} "
      "waves are alive: this may harm people with photosensitive epilepsy",
      flashes.WorstFrame(), flashes.WorstArea() * 100, waves[static_cast<std::size_t>(flashes.WorstFrame())]));
  return shown;
}

// What the effect itself refuses shows only when it renders.
void LookAtPictures(stage::EffectModule& module, const stage::Scene& scene, std::int64_t maxWaves, Findings& findings) {
  stage::RenderOptions options;
  options.highQuality = false;
  options.measureCoverage = true;
  options.downsample = std::max(1, (std::max(scene.width, scene.height) + kSmallSide - 1) / kSmallSide);
  options.shouldStop = StopRequested;
  try {
    stage::SceneRenderer renderer(module, scene, options);
    const ShownCounter shown = Watch(renderer, scene, findings);
    renderer.Finish();
    if (shown.IsLittle()) {
      findings.warnings.push_back(shown.Text() + ": " +
                                  WhyLittleIsShown(module, scene, AllFrames(FramesToWatch(scene)), maxWaves));
    }
  } catch (const stage::EffectError& error) {
    findings.AddError(error.message.empty() ? EffectCodeInWords(error.code) : error.message);
  } catch (const stage::InputError& error) {
    findings.AddError(error.what());
  }
}

// --- From one frame as it will be.

constexpr auto kLongestTry = std::chrono::seconds(10);

// Media that cannot be read are reported on their own.
std::vector<MediumSize> ReadableMedia(const stage::Scene& scene, const stage::ParamCatalog& catalog) {
  try {
    return MediaSizes(scene, catalog);
  } catch (const stage::InputError&) {
    return {};
  }
}

void LookAtMemory(const stage::Scene& scene, const stage::ParamCatalog& catalog, Findings& findings) {
  const PictureForm form{scene.width, scene.height, 8};
  try {
    const MemoryNeed need = EstimateMemory(scene, ReadableMedia(scene, catalog), Output{}, form, {}, 1);
    findings.estimates.memoryBytes = need.Total();
    findings.notes.push_back(fmt::format("a frame takes about {} of memory", MemoryText(need.Total())));
    RefuseTooMuchMemory(scene, need, 0);
    RefuseImpossibleFilm(scene, form);
  } catch (const stage::InputError& error) {
    findings.warnings.push_back(error.what());
  }
}

void LookAtTime(stage::EffectModule& module, const stage::Scene& scene, Findings& findings) {
  const auto start = std::chrono::steady_clock::now();
  bool tooLong = false;
  stage::RenderOptions options;
  options.shouldStop = [&] {
    tooLong = std::chrono::steady_clock::now() - start > kLongestTry;
    return tooLong || StopRequested();
  };
  const std::int32_t frame = findings.estimates.costliestFrame;
  try {
    stage::SceneRenderer(module, scene, options).Render(frame);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    findings.estimates.costliestFrameSeconds = seconds;
    findings.notes.push_back(fmt::format("frame {} took {:.2f} s to render alone, at full size", frame, seconds));
  } catch (const stage::Interrupted&) {
    if (!tooLong) throw;
    findings.warnings.push_back(
        fmt::format("frame {} takes longer than {} s to render alone, at full size", frame, kLongestTry.count()));
  }
}

Findings CheckScene(stage::EffectModule& module, const CheckRequest& request, SceneText& text) {
  Findings findings;
  const SceneRequest& wanted = request.scene;
  try {
    text = LoadScene(wanted);
  } catch (const stage::InputError& error) {
    findings.AddError(error.what());
    return findings;
  }
  findings.errors = stage::SceneFaults(text.text, text.file, module.Catalog(), wanted.options);
  if (!findings.errors.empty()) return findings;
  const stage::Scene scene = stage::ReadSceneText(text.text, text.file, module.Catalog(), wanted.options);
  findings.estimates.frames = scene.time.frameCount;
  stage::RemarkOnForm(scene, findings);
  const std::size_t before = findings.warnings.size();
  const stage::WaveCount waves = stage::RemarkOnWaves(scene, module.Catalog(), wanted.maxWaves, findings);
  findings.estimates.waves = waves.alive;
  findings.estimates.costliestFrame = waves.aliveFrame;
  LookAtMemory(scene, module.Catalog(), findings);
  const bool costly = findings.warnings.size() > before;
  LookAtMedia(scene, module.Catalog(), findings);
  if (request.quick || !findings.errors.empty()) return findings;
  if (costly) {
    findings.notes.push_back("not rendered, because that would take long: flashes were not looked for");
  } else {
    LookAtPictures(module, scene, wanted.maxWaves, findings);
    if (findings.errors.empty()) LookAtTime(module, scene, findings);
  }
  return findings;
}

ordered_json ErrorsJson(const std::vector<stage::Complaint>& errors) {
  ordered_json list = ordered_json::array();
  for (const stage::Complaint& error : errors) {
    ordered_json json{{"pointer", error.pointer}, {"message", error.message}};
    if (!error.allowed.empty()) json["allowed"] = error.allowed;
    if (!error.nearest.empty()) json["nearest"] = error.nearest;
    list.push_back(std::move(json));
  }
  return list;
}

ordered_json EstimatesJson(const Estimates& estimates) {
  ordered_json json = ordered_json::object();
  const auto add = [&](const char* key, const auto& value) {
    if (value) json[key] = *value;
  };
  add("frames", estimates.frames);
  add("waves", estimates.waves);
  add("memoryBytes", estimates.memoryBytes);
  if (estimates.costliestFrameSeconds) json["costliestFrame"] = estimates.costliestFrame;
  add("costliestFrameSeconds", estimates.costliestFrameSeconds);
  return json;
}

void PrintFindings(const Findings& findings, bool asJson) {
  if (asJson) {
    const ordered_json json{{"format", kJsonFormat},
                            {"ok", findings.errors.empty()},
                            {"errors", ErrorsJson(findings.errors)},
                            {"warnings", findings.warnings},
                            {"notes", findings.notes},
                            {"estimates", EstimatesJson(findings.estimates)}};
    Print("{}\n", json.dump(2, ' ', false, ordered_json::error_handler_t::replace));
    return;
  }
  for (const stage::Complaint& error : findings.errors) Print("error: {}\n", error.message);
  for (const std::string& warning : findings.warnings) Print("warning: {}\n", warning);
  for (const std::string& note : findings.notes) Print("note: {}\n", note);
}

}  // namespace

void Check(const CheckRequest& request) {
  stage::EffectModule module(stage::LoadEffect(ModuleFile(request.scene.module)));
  SceneText text{{}, request.scene.file};
  const Findings findings = CheckScene(module, request, text);
  PrintFindings(findings, request.asJson);
  module.SetDown();
  if (findings.errors.empty()) return;
  throw stage::InputError(fmt::format("{}: {} mistake{}", text.file.string(), findings.errors.size(),
                                      findings.errors.size() == 1 ? "" : "s"));
}

}  // namespace orvandel::cli
