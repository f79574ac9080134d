// `orvandel waves`: the waves of frames, as the effect reports them, as data or as vector graphics.
#include <fmt/format.h>

#include <utility>

#include "cli/commands/commands.h"
#include "cli/console.h"
#include "cli/frame_list.h"
#include "cli/interrupt.h"
#include "cli/module_file.h"
#include "cli/render/output.h"
#include "cli/scene_input.h"
#include "cli/waves/wave_limit.h"
#include "cli/waves/wave_svg.h"
#include "stage/base/errors.h"
#include "stage/base/partial_file.h"
#include "stage/reports/emitter_values.h"
#include "stage/reports/reported_waves.h"
#include "stage/reports/wave_count.h"
#include "stage/reports/wave_json.h"

namespace orvandel::cli {
namespace {

// --- As vector graphics.

std::string SvgOf(const stage::Scene& scene, const stage::ParamCatalog& catalog, std::int32_t frame,
                  const std::vector<std::vector<stage::ReportedWave>>& waves) {
  const std::int32_t hostTime = scene.time.TimeOfFrame(frame);
  std::vector<SvgEffect> effects;
  for (std::size_t i = 0; i < waves.size(); ++i) {
    const stage::Emitter& emitter = scene.emitters[i];
    const stage::EmitterValues values(scene, emitter, catalog);
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
  RefuseTooManyWaves(scene, stage::CountWaves(scene, catalog, frames), request.scene.maxWaves);
  std::optional<SvgFiles> files;
  if (!request.svg.empty()) files.emplace(request, frames);
  {
    stage::WaveReports reports(module, scene, LimitedTo(request.scene.maxWaves));
    for (const std::int32_t frame : frames) {
      const auto& waves = reports.Of(frame);
      if (files) {
        files->Write(frame, SvgOf(scene, catalog, frame, waves));
        continue;
      }
      for (std::size_t effect = 0; effect < waves.size(); ++effect) {
        for (std::size_t i = 0; i < waves[effect].size(); ++i) {
          const stage::WavePlace place{frame, effect, i};
          WriteOutput(stage::WaveJson(scene, catalog, place, waves[effect][i], !request.noOutlines) + "\n");
        }
      }
    }
  }
  module.SetDown();
}

}  // namespace orvandel::cli
