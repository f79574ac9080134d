// `orvandel waves`: the waves of frames, as the effect reports them, as data or as vector graphics.
#include <fmt/format.h>

#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>

#include "cli/commands/commands.h"
#include "cli/console.h"
#include "cli/frame_list.h"
#include "cli/interrupt.h"
#include "cli/module_file.h"
#include "cli/param_text.h"
#include "cli/render/output.h"
#include "cli/scene_input.h"
#include "cli/waves/emitter_values.h"
#include "cli/waves/reported_waves.h"
#include "cli/waves/wave_count.h"
#include "cli/waves/wave_svg.h"
#include "stage/base/errors.h"
#include "stage/base/partial_file.h"

namespace orvandel::cli {
namespace {

using nlohmann::ordered_json;

// --- As lines of JSON.

// The effect computes in single precision: its numbers with no more digits than they need.
double Shortest(float value) { return std::stod(fmt::format("{}", value)); }

class WaveLines {
 public:
  WaveLines(const stage::Scene& scene, const stage::ParamCatalog& catalog, bool outlines)
      : scene_(scene), catalog_(catalog), outlines_(outlines) {}

  void Write(std::int32_t frame, std::size_t effect, std::size_t number, const ReportedWave& reported) const {
    const OrvWave& wave = reported.wave;
    const stage::PointValue centre{Shortest(wave.centreX), Shortest(wave.centreY)};
    ordered_json json{{"frame", frame},
                      {"seconds", static_cast<double>(scene_.time.TimeOfFrame(frame)) / scene_.time.timeScale},
                      {"effect", effect + 1},
                      {"wave", number},
                      {"waveType", ChoiceOf("Wave Type", wave.waveType)},
                      {"age", Shortest(wave.age)},
                      {"lifespan", Shortest(wave.lifespan)},
                      {"centre", {centre.x, centre.y}},
                      {"size", Shortest(wave.size)},
                      {"angle", Shortest(wave.angle)},
                      {"strokeWidth", Shortest(wave.width)},
                      {"profile", ChoiceOf("Profile", wave.profile)},
                      {"opacity", Shortest(wave.opacity)},
                      {"color", ColorText(reported.Color())}};
    std::string line = json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
    if (outlines_) {
      line.back() = ',';  // in place of the closing brace
      AddOutline(line, reported);
      line += '}';
    }
    WriteOutput(line + "\n");
  }

 private:
  std::string ChoiceOf(const char* parameter, std::int32_t number) const {
    const stage::ParamInfo* info = catalog_.Find(parameter);
    const auto place = static_cast<std::size_t>(number) - 1;
    return info != nullptr && place < info->choices.size() ? info->choices[place] : std::to_string(number);
  }

  static void AddOutline(std::string& line, const ReportedWave& wave) {
    auto out = std::back_inserter(line);
    fmt::format_to(out, "\"outline\":[");
    const char* comma = "";
    for (const OrvWavePoint& point : wave.outline) {
      const stage::PointValue at = wave.OnLayer(point);
      fmt::format_to(out, "{}[{},{}]", comma, static_cast<float>(at.x), static_cast<float>(at.y));
      comma = ",";
    }
    line += ']';
  }

  const stage::Scene& scene_;
  const stage::ParamCatalog& catalog_;
  bool outlines_;
};

// --- As vector graphics.

std::string SvgOf(const stage::Scene& scene, const stage::ParamCatalog& catalog, std::int32_t frame,
                  const std::vector<std::vector<ReportedWave>>& waves) {
  const std::int32_t hostTime = scene.time.TimeOfFrame(frame);
  std::vector<SvgEffect> effects;
  for (std::size_t i = 0; i < waves.size(); ++i) {
    const stage::Emitter& emitter = scene.emitters[i];
    const EmitterValues values(scene, emitter, catalog);
    effects.push_back({emitter.blend, emitter.opacity, values.NumberAt("Reflection", hostTime) != 0, &waves[i]});
  }
  return WavesAsSvg(scene, effects);
}

Output SvgOutput(const std::string& name, std::size_t frames) {
  Output output{OutputKind::kPictures, OutputPattern(name, "--svg")};
  if (output.pattern.Extension() != ".svg") {
    throw stage::InputError(fmt::format("--svg: '{}' does not end in .svg", name));
  }
  if (!output.pattern.HasNumber() && frames > 1) output.pattern.AddNumber();
  return output;
}

class SvgFiles {
 public:
  SvgFiles(const WavesRequest& request, const std::vector<std::int32_t>& frames)
      : output_(SvgOutput(request.svg, frames.size())),
        ifTaken_(request.replace ? stage::IfTaken::kReplace : stage::IfTaken::kFail) {
    if (!request.replace) RefuseExisting(output_, frames, "--svg", "--overwrite replaces it");
    PrepareFolder(output_.FileOf(frames.front()), "--svg");
    std::vector<std::filesystem::path> files;
    for (const std::int32_t frame : frames) files.push_back(output_.FileOf(frame));
    stage::RemoveAbandoned(files);
  }

  void Write(std::int32_t frame, const std::string& text) const {
    stage::PartialFile file(output_.FileOf(frame), ifTaken_);
    const UnfinishedFile unfinished(file.WorkName());
    file.Write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    file.Keep();
  }

 private:
  Output output_;
  stage::IfTaken ifTaken_;
};

}  // namespace

void Waves(const WavesRequest& request) {
  stage::EffectModule module(stage::LoadEffect(ModuleFile(request.scene.module)));
  const stage::ParamCatalog& catalog = module.Catalog();
  const stage::Scene scene = ReadSceneOf(request.scene, catalog);
  const auto frames = WithoutRepeats(ChosenFrames(request.frames, scene.time));
  RefuseTooManyWaves(scene, CountWaves(scene, catalog, frames), request.scene.maxWaves);
  std::optional<SvgFiles> files;
  if (!request.svg.empty()) files.emplace(request, frames);
  {
    WaveReports reports(module, scene, request.scene.maxWaves);
    const WaveLines lines(scene, catalog, !request.noOutlines);
    for (const std::int32_t frame : frames) {
      const auto& waves = reports.Of(frame);
      if (files) {
        files->Write(frame, SvgOf(scene, catalog, frame, waves));
        continue;
      }
      for (std::size_t effect = 0; effect < waves.size(); ++effect) {
        for (std::size_t i = 0; i < waves[effect].size(); ++i) lines.Write(frame, effect, i, waves[effect][i]);
      }
    }
  }
  module.SetDown();
}

}  // namespace orvandel::cli
