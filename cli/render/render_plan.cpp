#include "cli/render/render_plan.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <thread>
#include <utility>

#include "cli/console.h"
#include "cli/frame_list.h"
#include "cli/module_file.h"
#include "cli/render/background_option.h"
#include "cli/render/content_hash.h"
#include "cli/render/film_sound.h"
#include "cli/render/picture_work.h"
#include "cli/render/scene_hash.h"
#include "cli/scene_input.h"
#include "cli/waves/wave_limit.h"
#include "stage/base/errors.h"
#include "stage/module/effect_module.h"
#include "stage/picture/picture_scale.h"
#include "stage/reports/media_use.h"
#include "stage/reports/wave_count.h"

namespace orvandel::cli {
namespace {

// A process draws on one processor and packs on another; raw frames need no packing. Where few frames are asked for,
// more of them take longer to start than they save.
std::size_t JobsFor(const RenderRequest& request, OutputKind output, std::size_t frames) {
  constexpr std::size_t kMost = 8, kFramesEach = 16;
  const std::size_t processors = std::max(1u, std::thread::hardware_concurrency());
  const std::size_t each = output == OutputKind::kStream ? 1 : 2;
  if (!request.jobs) return std::clamp<std::size_t>(std::min(processors / each, frames / kFramesEach), 1, kMost);
  return std::min(*request.jobs == 0 ? processors : static_cast<std::size_t>(*request.jobs), frames);
}

RenderRun RunOf(const RenderRequest& request, const std::string& sceneText, const stage::Scene& scene,
                const stage::EffectModule& module) {
  std::string settings = fmt::format("--quality {} --downsample {} --depth {}", request.highQuality ? "full" : "draft",
                                     request.downsample, request.depth);
  if (!request.background.empty()) settings += " --background " + request.background;
  settings += fmt::format(", orvandel {}, effect {:#x}", ORVANDEL_VERSION, module.GetIdentity().effectVersion);
  return {SceneHash(sceneText, scene, request.scene.options), settings, PartHashes(scene, module.Catalog())};
}

// Named by everything that the states in it depend on. The module's own bytes are included: a difference of one bit in
// the states of another build would go unnoticed.
std::filesystem::path SnapshotFolder(const RenderRequest& request, const RenderRun& run) {
  ContentHash hash;
  for (const std::string& text :
       {run.scene, std::string(ORVANDEL_VERSION), FileHash(ModuleFile(request.scene.module)),
        std::string(request.highQuality ? "full" : "draft"), std::to_string(request.downsample)}) {
    hash.Add(text);
  }
  for (const auto& [name, part] : run.parts) {
    hash.Add(name);
    hash.Add(part);
  }
  return request.snapshots / hash.Text();
}

void RefuseImpossibleSettings(const RenderRequest& request, const Output& output) {
  if (request.depth == 16 && output.kind != OutputKind::kPictures) {
    throw stage::InputError("--depth: 16 bits a channel are for .png pictures");
  }
  if (request.depth == 16 && output.IsExr()) throw stage::InputError("--depth: .exr pictures hold half floats");
  if (request.filmQuality != "high" &&
      (output.kind != OutputKind::kFilm || stage::FilmKindOf(output.FileOf(0), request.codec).lossless)) {
    throw stage::InputError("--film-quality: is for lossy films only (--list-formats)");
  }
  if (!request.codec.empty() && output.kind != OutputKind::kFilm) {
    throw stage::InputError(fmt::format("--codec: '{}' is for films, and --output names none", request.codec));
  }
  if (output.kind == OutputKind::kStream && !OutputIsOpen()) {
    throw stage::InputError("--output: standard output is closed");
  }
  if (output.kind == OutputKind::kStream && isatty(STDOUT_FILENO) == 1) {
    throw stage::InputError("--output: raw frames are not for a terminal; send standard output to a file or a program");
  }
}

// A film without alpha is over black unless the scene has a background; in linear light where the scene says so.
void PlanFilm(const RenderRequest& request, RenderPlan& plan) {
  if (plan.output.kind != OutputKind::kFilm) return;
  const stage::FilmKind kind = stage::FilmKindOf(plan.output.FileOf(0), request.codec);
  if (!kind.hasAlpha && plan.scene.linear && plan.scene.background.IsNothing()) plan.scene.background.color = 0;
  const std::int32_t width = plan.form.width, height = plan.form.height;
  if (!kind.evenSize || (width % 2 == 0 && height % 2 == 0)) return;
  plan.notes.push_back(fmt::format("{} needs even sizes: {} x {} becomes {} x {}, the last {} twice", kind.extension,
                                   width, height, width + width % 2, height + height % 2,
                                   width % 2 == 0    ? "row"
                                   : height % 2 == 0 ? "column"
                                                     : "row and column"));
}

bool HoldsEightBits(const stage::Scene& scene) {
  const stage::Emitter& first = scene.emitters.front();
  return scene.emitters.size() == 1 && first.blend == stage::Blend::kNormal && first.opacity == 1 &&
         scene.motionBlur.samples == 1 && !scene.glow && scene.background.IsNothing();
}

void PlanSound(const RenderRequest& request, RenderPlan& plan) {
  if (request.noSound || plan.output.kind != OutputKind::kFilm) return;
  const SoundChoice choice = ChooseSound(plan.scene, plan.scene.background.medium, plan.frames);
  if (!choice.note.empty()) plan.notes.push_back(choice.note);
  const stage::FilmKind kind = stage::FilmKindOf(plan.output.FileOf(0), request.codec);
  if (choice.sound && kind.sound.empty()) {
    plan.notes.push_back(fmt::format("no sound: {} cannot carry it; .mp4, .mov, .webm and .mkv can", kind.extension));
  } else {
    plan.sound = choice.sound;
  }
}

void PlanFrames(const RenderRequest& request, const std::vector<std::int32_t>& asked, RenderPlan& plan) {
  if (request.existing == Existing::kKeep) RenderRecord(plan.output).RefuseOther(plan.run);
  const auto frames = plan.output.IsOrdered() ? asked : WithoutRepeats(asked);
  plan.frames = FramesLeft(plan.output, frames, request.existing, plan.form);
  plan.kept = frames.size() - plan.frames.size();
  plan.jobs = static_cast<int>(JobsFor(request, plan.output.kind, plan.frames.size()));
}

// What the frames need: waves, and memory.
void PlanNeeds(const RenderRequest& request, const stage::ParamCatalog& catalog, RenderPlan& plan) {
  if (plan.frames.empty()) return;
  const stage::WaveCount waves = stage::CountWaves(plan.scene, catalog, plan.frames);
  plan.mostWaves = waves.alive;
  RefuseTooManyWaves(plan.scene, waves, request.scene.maxWaves);
  const auto media = MediaSizes(plan.scene, catalog);
  const auto needOf = [&](int jobs) {
    return EstimateMemory(plan.scene, media, plan.output, plan.form, request.codec, jobs);
  };
  if (!request.jobs) {
    const bool showsFilms = std::any_of(media.begin(), media.end(), [](const MediumSize& each) { return each.moves; });
    while (plan.jobs > 1 && (showsFilms || needOf(plan.jobs).Total() > AllowedMemory(request.maxMemory) / 2))
      --plan.jobs;
  }
  plan.memory = needOf(plan.jobs);
  RefuseTooMuchMemory(plan.scene, plan.memory, request.maxMemory);
}

}  // namespace

RenderPlan MakeRenderPlan(const RenderRequest& request) {
  stage::EffectModule module(stage::LoadEffect(ModuleFile(request.scene.module)));
  RenderPlan plan;
  const SceneText text = LoadScene(request.scene);
  plan.scene = stage::ReadSceneText(text.text, text.file, module.Catalog(), request.scene.options);
  ReplaceBackground(request.background, plan.scene);
  const stage::Scene& scene = plan.scene;
  const auto asked = ChosenFrames(request.frames, scene.time);
  plan.output = ParseOutput(request.output, asked);
  RefuseImpossibleSettings(request, plan.output);
  if (!request.fromPictures.empty()) {
    plan.pictures.emplace(request.fromPictures, "--from-pictures");
    RefuseImpossiblePictures(*plan.pictures, plan.output);
  }
  plan.form = {stage::CellsOf(scene.width, request.downsample), stage::CellsOf(scene.height, request.downsample),
               request.depth};
  if (plan.output.kind == OutputKind::kFilm) RefuseImpossibleFilm(scene, plan.form);
  const bool keepsSnapshots = !request.snapshots.empty();
  if (keepsSnapshots || RenderRecord::IsKeptFor(plan.output)) plan.run = RunOf(request, text.text, scene, module);
  if (keepsSnapshots) plan.snapshots = SnapshotFolder(request, plan.run);
  PlanFrames(request, asked, plan);
  PlanNeeds(request, module.Catalog(), plan);
  PlanFilm(request, plan);
  PlanSound(request, plan);
  if (std::string note = stage::NoteOfUnseen(scene, module.Catalog()); !note.empty())
    plan.notes.push_back(std::move(note));
  if (request.depth == 16 && HoldsEightBits(scene)) {
    plan.notes.push_back("--depth 16: the effect itself draws 8 bits a channel, which 16 hold without loss");
  }
  module.SetDown();
  return plan;
}

}  // namespace orvandel::cli
