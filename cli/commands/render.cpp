// `orvandel render`: frames of a scene, in the order asked for, into pictures, a film or standard output.
//
// Everything that can be refused is refused before a frame is rendered and before anything is written. Then workers
// render (cli/render/worker_pool.h) while this process takes what they made: it encodes a film's frames in their order,
// or only counts the pictures that the workers wrote.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <set>
#include <string>
#include <thread>

#include "cli/check/little_shown.h"
#include "cli/commands/commands.h"
#include "cli/console.h"
#include "cli/frame_list.h"
#include "cli/interrupt.h"
#include "cli/module_file.h"
#include "cli/render/background_option.h"
#include "cli/render/content_hash.h"
#include "cli/render/film_sound.h"
#include "cli/render/memory_need.h"
#include "cli/render/ordered_sink.h"
#include "cli/render/picture_work.h"
#include "cli/render/render_record.h"
#include "cli/render/scene_hash.h"
#include "cli/render/scene_work.h"
#include "cli/scene_input.h"
#include "cli/text_table.h"
#include "cli/waves/wave_limit.h"
#include "stage/base/errors.h"
#include "stage/module/effect_module.h"
#include "stage/picture/host_image.h"
#include "stage/picture/picture_scale.h"
#include "stage/reports/media_use.h"
#include "stage/reports/wave_count.h"

namespace orvandel::cli {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::int32_t kTicksPerSecond = 30;  // of the effect's simulation

double SecondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// What a render will do, checked to be possible.
struct Plan {
  stage::Scene scene;
  Output output;
  std::optional<OutputPattern> pictures;  // that the film is made of, in place of rendering
  std::vector<std::int32_t> frames;
  std::size_t kept = 0;
  PictureForm form;
  RenderRun run;
  MemoryNeed memory;
  std::filesystem::path snapshots;  // of this scene; empty: none are kept
  std::int64_t mostWaves = 0;       // counted before rendering
  std::optional<stage::FilmSound> sound;
  std::vector<std::string> notes;
};

int JobsFor(const RenderRequest& request, std::size_t frames) {
  const auto processors = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  const int jobs = request.jobs == 0 ? processors : request.jobs;
  return static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(jobs), frames));
}

RenderRun RunOf(const RenderRequest& request, const std::string& sceneText, const stage::Scene& scene,
                const stage::EffectModule& module) {
  std::string settings = fmt::format("--quality {} --downsample {} --depth {}", request.highQuality ? "full" : "draft",
                                     request.downsample, request.depth);
  if (!request.background.empty()) settings += " --background " + request.background;
  settings += fmt::format(", orvandel {}, effect {:#x}", ORVANDEL_VERSION, module.GetIdentity().effectVersion);
  return {SceneHash(sceneText, scene, request.scene.options), settings, PartHashes(scene, module.Catalog())};
}

// Named by everything that the states in it depend on. The module's own bytes are among them: waves that another build
// moved by another bit would not show.
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
      (output.kind != OutputKind::kFilm || stage::KindOf(output.FileOf(0), request.codec).lossless)) {
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

// A film without alpha stands over black where nothing else is said: there as well in the scene's own way.
void PlanFilm(const RenderRequest& request, Plan& plan) {
  if (plan.output.kind != OutputKind::kFilm) return;
  const stage::FilmKind kind = stage::KindOf(plan.output.FileOf(0), request.codec);
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

void PlanSound(const RenderRequest& request, Plan& plan) {
  if (request.noSound || plan.output.kind != OutputKind::kFilm) return;
  const SoundChoice choice = ChooseSound(plan.scene, plan.scene.background.medium, plan.frames);
  if (!choice.note.empty()) plan.notes.push_back(choice.note);
  const stage::FilmKind kind = stage::KindOf(plan.output.FileOf(0), request.codec);
  if (choice.sound && kind.sound.empty()) {
    plan.notes.push_back(fmt::format("no sound: {} cannot carry it; .mp4, .mov, .webm and .mkv can", kind.extension));
  } else {
    plan.sound = choice.sound;
  }
}

// Reading the scene needs the module, which is unloaded again before processes are forked.
Plan MakePlan(const RenderRequest& request) {
  stage::EffectModule module(stage::LoadEffect(ModuleFile(request.scene.module)));
  Plan plan;
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
  if (request.existing == Existing::kKeep) RenderRecord(plan.output).RefuseOther(plan.run);
  const auto frames = plan.output.IsOrdered() ? asked : WithoutRepeats(asked);
  plan.frames = FramesLeft(plan.output, frames, request.existing, plan.form);
  plan.kept = frames.size() - plan.frames.size();
  if (!plan.frames.empty()) {
    const stage::WaveCount waves = stage::CountWaves(scene, module.Catalog(), plan.frames);
    plan.mostWaves = waves.alive;
    RefuseTooManyWaves(scene, waves, request.scene.maxWaves);
    plan.memory = EstimateMemory(scene, MediaSizes(scene, module.Catalog()), plan.output, plan.form, request.codec,
                                 JobsFor(request, plan.frames.size()));
    RefuseTooMuchMemory(scene, plan.memory, request.maxMemory);
  }
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

// A resumed render replaces files that have a picture's name but are no complete pictures.
stage::IfTaken IfTakenOf(Existing existing) {
  return existing == Existing::kRefuse ? stage::IfTaken::kFail : stage::IfTaken::kReplace;
}

stage::FilmQuality QualityOf(const std::string& word) {
  if (word == "low") return stage::FilmQuality::kLow;
  return word == "medium" ? stage::FilmQuality::kMedium : stage::FilmQuality::kHigh;
}

stage::FilmOptions FilmOf(const Plan& plan, const RenderRequest& request) {
  stage::FilmOptions film;
  film.frameRate = plan.scene.time.frameRate;
  film.pixelAspect = plan.scene.pixelAspect;
  film.width = plan.form.width;
  film.height = plan.form.height;
  film.format = request.codec;
  film.ifTaken = IfTakenOf(request.existing);
  film.quality = QualityOf(request.filmQuality);
  film.sound = plan.sound;
  film.isOpaque = !plan.scene.background.IsNothing() && !plan.pictures;
  return film;
}

PoolOptions PoolOf(const RenderRequest& request, const Plan& plan) {
  PoolOptions pool;
  pool.jobs = JobsFor(request, plan.frames.size());
  if (plan.output.IsOrdered()) {
    pool.slotBytes = stage::HostImage::BytesFor(plan.form.width, plan.form.height);
  }
  pool.maxFrameSeconds = request.maxFrameSeconds;
  return pool;
}

SceneWorkSettings WorkOf(const RenderRequest& request, const Plan& plan) {
  SceneWorkSettings settings;
  settings.module = ModuleFile(request.scene.module);
  settings.render.highQuality = request.highQuality;
  settings.render.downsample = request.downsample;
  settings.render.shouldStop = StopRequested;
  settings.render.measureCoverage = true;
  settings.render.maxWaves = request.scene.maxWaves;
  settings.depth = request.depth;
  settings.pngEffort = request.pngEffort;
  settings.ifTaken = IfTakenOf(request.existing);
  // Also for those who never go back: on a long way to the first frame, waves whose life is over are dropped where a
  // state is kept, and would otherwise be moved to its end.
  settings.render.keepResumePoints = true;
  settings.render.snapshots = plan.snapshots;
  settings.render.ticksBetweenSnapshots = request.snapshotSeconds * kTicksPerSecond;
  settings.enoughShown = ShownCounter::EnoughOf(plan.frames.size());
  return settings;
}

std::unique_ptr<FrameWork> WorkFor(const Plan& plan, const SceneWorkSettings& settings) {
  if (plan.pictures) return MakePictureWork(*plan.pictures, plan.form, plan.output.kind);
  return MakeSceneWork(settings, plan.scene, plan.output);
}

// Receives finished frames: updates the summary, passes ordered frames to the sink, reports progress.
class FrameCollector {
 public:
  void Finish() {
    stats_.AddRest(stage::TakeStageSeconds());
    summary_.stages = stats_.Summaries();
    // A film that shows nothing is rarely meant; nobody may look at it before it is in use.
    if (shown_.IsLittle()) summary_.warning = shown_.Text();
  }

  FrameCollector(const Plan& plan, Progress& progress, RenderSummary& summary)
      : plan_(plan), progress_(progress), summary_(summary) {}

  void Take(const FinishedFrame& finished, OrderedSink* sink) {
    if (sink != nullptr) sink->Put(finished.bytes);
    stage::StageSeconds stages = stage::TakeStageSeconds();  // the sink's
    for (std::size_t i = 0; i < stages.size(); ++i) stages[i] += finished.stages[i];
    stats_.AddFrame(stages);
    shown_.Add(finished.shown);
    if (finished.seconds > summary_.slowestSeconds) {
      summary_.slowestSeconds = finished.seconds;
      summary_.slowestFrame = finished.frame;
    }
    summary_.mostWaves = std::max(summary_.mostWaves, finished.waves);
    FrameDone done{
        finished.frame, ++done_, static_cast<std::int64_t>(plan_.frames.size()), finished.seconds, finished.waves, {},
        stages};
    if (!plan_.output.IsOrdered()) done.file = plan_.output.FileOf(finished.frame).string();
    progress_.Frame(done);
  }

 private:
  const Plan& plan_;
  Progress& progress_;
  RenderSummary& summary_;
  std::int64_t done_ = 0;
  ShownCounter shown_;
  StageStats stats_;
};

void RenderFrames(const RenderRequest& request, const Plan& plan, Progress& progress, RenderSummary& summary) {
  const SceneWorkSettings work = WorkOf(request, plan);
  PoolOptions options = PoolOf(request, plan);
  options.onNote = [&, told = std::set<std::string>()](const std::string& note) mutable {
    if (told.insert(note).second) progress.Note(note);
  };
  WorkerPool pool(options, [&] { return WorkFor(plan, work); });
  // After the workers have been forked: encoders start threads.
  const auto sink = plan.output.IsOrdered() ? OpenSink(plan.output, FilmOf(plan, request)) : nullptr;
  FrameCollector collector(plan, progress, summary);
  pool.Run(plan.frames, [&](const FinishedFrame& finished) { collector.Take(finished, sink.get()); });
  if (StopRequested()) throw stage::Interrupted();
  if (sink != nullptr) sink->Finish();
  collector.Finish();
}

std::string WhyOf(const Plan& plan, const RenderRequest& request) {
  stage::EffectModule module(stage::LoadEffect(ModuleFile(request.scene.module)));
  std::string why = WhyLittleIsShown(module, plan.scene, plan.frames, request.scene.maxWaves);
  module.SetDown();
  return why;
}

// What a render that was killed left unfinished.
void RemoveLeftovers(const Plan& plan) {
  std::vector<std::filesystem::path> files;
  for (const std::int32_t frame : plan.frames) files.push_back(plan.output.FileOf(frame));
  stage::RemoveAbandoned(files);
}

void PrintPlan(const Plan& plan) {
  Print("{}: {} of {} x {} pixels", plan.output.Name(), FramesText(plan.frames.size()), plan.form.width,
        plan.form.height);
  if (plan.kept > 0) Print(", {} kept", plan.kept);
  if (plan.frames.empty()) {
    Print("; nothing to render\n");
    return;
  }
  Print(", from {} to {}; at most {} wave{} alive; about {} of memory in {} process{}\n",
        *std::min_element(plan.frames.begin(), plan.frames.end()),
        *std::max_element(plan.frames.begin(), plan.frames.end()), plan.mostWaves, plan.mostWaves == 1 ? "" : "s",
        MemoryText(plan.memory.Total()), plan.memory.jobs, plan.memory.jobs == 1 ? "" : "es");
}

}  // namespace

void Render(const RenderRequest& request) {
  const Plan plan = MakePlan(request);
  if (request.dryRun) return PrintPlan(plan);
  std::signal(SIGPIPE, SIG_IGN);  // a reader that leaves is an error like others, and no file stays half-written for it
  if (plan.output.kind != OutputKind::kStream) {
    PrepareFolder(plan.output.FileOf(plan.scene.time.frameCount - 1));
    RemoveLeftovers(plan);
    const bool all = request.existing == Existing::kReplace &&
                     plan.frames.size() == static_cast<std::size_t>(plan.scene.time.frameCount);
    RenderRecord(plan.output).Enter(plan.run, all);
  }
  const auto progress = MakeProgress(request.progress);
  RenderSummary summary;
  summary.showStages = request.stats;
  summary.start = {plan.scene.file.string(),
                   plan.output.Name(),
                   static_cast<std::int64_t>(plan.frames.size()),
                   static_cast<std::int64_t>(plan.kept),
                   PoolOf(request, plan).jobs,
                   plan.scene.notes};
  const auto start = Clock::now();
  progress->Begin(summary.start);
  for (const std::string& note : plan.notes) progress->Note(note);
  if (!plan.frames.empty()) RenderFrames(request, plan, *progress, summary);
  summary.seconds = SecondsSince(start);
  if (!summary.warning.empty()) summary.warning += ": " + WhyOf(plan, request);
  progress->End(summary);
}

void ListFormats() {
  std::vector<std::vector<std::string>> rows{
      {"extension", "codec", "alpha", "lossless", "sound", ""},
      {".png", "", "yes", "yes", "no", "pictures; --depth 16 for 16 bits a channel"},
      {".exr", "", "yes", "yes", "no", "pictures for compositing: half floats, linear, colour times alpha"}};
  for (const stage::FilmKind& kind : stage::FilmKinds()) {
    rows.push_back({kind.extension, kind.name, kind.hasAlpha ? "yes" : "no", kind.lossless ? "yes" : "no",
                    kind.sound.empty() ? "no" : kind.sound, kind.description});
  }
  rows.push_back({"-", "", "yes", "yes", "no", "standard output: bytes red, green, blue, alpha, frame after frame"});
  Print("{}", TextTable(rows));
}

}  // namespace orvandel::cli
