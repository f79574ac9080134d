// `orvandel sheet`: a contact sheet of a scene.
#include <fmt/format.h>

#include <algorithm>

#include "cli/check/little_shown.h"
#include "cli/commands/commands.h"
#include "cli/console.h"
#include "cli/failure.h"
#include "cli/frame_list.h"
#include "cli/interrupt.h"
#include "cli/module_file.h"
#include "cli/render/background_option.h"
#include "cli/render/output.h"
#include "cli/scene_input.h"
#include "cli/sheet/contact_sheet.h"
#include "cli/waves/wave_limit.h"
#include "stage/base/errors.h"
#include "stage/base/partial_file.h"
#include "stage/picture/picture_scale.h"
#include "stage/render/scene_renderer.h"
#include "stage/reports/media_use.h"
#include "stage/reports/wave_count.h"
#include "stage/stills/png_file.h"

namespace orvandel::cli {
namespace {

constexpr std::size_t kUsualCount = 12;
constexpr std::int32_t kUsualWidth = 320;

// What the list says; else a few spread over the time asked for, the first and the last among them.
std::vector<std::int32_t> FramesOf(const FrameChoice& choice, const stage::Timebase& time) {
  const std::vector<std::int32_t> all = ChosenFrames(choice, time);
  if (choice.list || all.size() <= kUsualCount) return all;
  std::vector<std::int32_t> frames;
  for (std::size_t i = 0; i < kUsualCount; ++i) frames.push_back(all[i * (all.size() - 1) / (kUsualCount - 1)]);
  return frames;
}

constexpr std::uint32_t kUsualColor = 0x202020;

Output OutputOf(const SheetRequest& request) {
  Output output{OutputKind::kPictures, OutputPattern(request.output.string())};
  if (output.pattern.Extension() == ".png" && !output.pattern.HasNumber()) return output;
  throw stage::InputError(fmt::format("--output: a sheet is one picture, '{}' is not the name of one; use NAME.png",
                                      request.output.string()));
}

void DrawSheet(const SheetRequest& request, stage::EffectModule& module, const stage::Scene& scene) {
  const auto frames = FramesOf(request.frames, scene.time);
  RefuseTooManyWaves(scene, stage::CountWaves(scene, module.Catalog(), frames), request.scene.maxWaves);
  stage::RenderOptions options;
  options.downsample = request.downsample > 0 ? request.downsample : (scene.width + kUsualWidth - 1) / kUsualWidth;
  options.shouldStop = StopRequested;
  options.measureCoverage = true;
  ContactSheet sheet(stage::CellsOf(scene.width, options.downsample), stage::CellsOf(scene.height, options.downsample),
                     static_cast<std::int32_t>(frames.size()), request.columns,
                     scene.background.color.value_or(kUsualColor));
  PrepareFolder(request.output);
  stage::SceneRenderer renderer(module, scene, options);
  ShownCounter shown;
  for (const std::int32_t frame : frames) {
    const stage::Picture picture = renderer.Render(frame);
    shown.Add(renderer.Coverage());
    sheet.Add(picture, frame);
  }
  renderer.Finish();
  for (const std::string& note : scene.notes) Tell("orvandel: note: " + note + "\n");
  if (shown.IsLittle()) {
    Tell(fmt::format("orvandel: warning: {}: {}\n", shown.Text(),
                     WhyLittleIsShown(module, scene, frames, request.scene.maxWaves)));
  }
  const auto ifTaken = request.replace ? stage::IfTaken::kReplace : stage::IfTaken::kFail;
  stage::RemoveAbandoned({request.output});
  const UnfinishedFile unfinished(stage::PartialFile(request.output, ifTaken).WorkName());
  stage::WritePng(request.output, sheet.Result(), ifTaken);
}

}  // namespace

void Sheet(const SheetRequest& request) {
  const Output output = OutputOf(request);
  if (!request.replace) RefuseExisting(output, {0}, "--output", "--overwrite replaces it");
  stage::EffectModule module(stage::LoadEffect(ModuleFile(request.scene.module)));
  stage::Scene scene = ReadSceneOf(request.scene, module.Catalog());
  ReplaceBackground(request.background, scene);
  if (const std::string note = stage::NoteOfUnseen(scene, module.Catalog()); !note.empty()) PrintNote(note);
  DrawSheet(request, module, scene);
  module.SetDown();
}

}  // namespace orvandel::cli
