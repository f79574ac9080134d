// `orvandel render`: frames of a scene, in the order asked for, into pictures, a film or standard output.
//
// A plan refuses everything that can be refused (cli/render/render_plan.h). Then workers render
// (cli/render/worker_pool.h) while this process takes what they made: it encodes a film's frames in their order, or
// only counts the pictures that the workers wrote.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <memory>
#include <set>
#include <string>

#include "cli/check/little_shown.h"
#include "cli/commands/commands.h"
#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/module_file.h"
#include "cli/render/memory_need.h"
#include "cli/render/ordered_sink.h"
#include "cli/render/picture_work.h"
#include "cli/render/render_plan.h"
#include "cli/render/render_record.h"
#include "cli/render/scene_work.h"
#include "cli/text_table.h"
#include "stage/module/effect_module.h"
#include "stage/picture/host_image.h"

namespace orvandel::cli {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::int32_t kTicksPerSecond = 30;  // of the effect's simulation

double SecondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// A resumed render replaces files that have a picture's name but are no complete pictures.
stage::IfTaken IfTakenOf(Existing existing) {
  return existing == Existing::kRefuse ? stage::IfTaken::kFail : stage::IfTaken::kReplace;
}

stage::FilmQuality QualityOf(const std::string& word) {
  if (word == "low") return stage::FilmQuality::kLow;
  return word == "medium" ? stage::FilmQuality::kMedium : stage::FilmQuality::kHigh;
}

stage::FilmOptions FilmOf(const RenderPlan& plan, const RenderRequest& request) {
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

PoolOptions PoolOf(const RenderRequest& request, const RenderPlan& plan) {
  PoolOptions pool;
  pool.jobs = plan.jobs;
  if (plan.output.IsOrdered()) {
    pool.slotBytes = stage::HostImage::BytesFor(plan.form.width, plan.form.height);
  }
  pool.maxFrameSeconds = request.maxFrameSeconds;
  return pool;
}

SceneWorkSettings WorkOf(const RenderRequest& request, const RenderPlan& plan) {
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
  // Useful even without going back: on a long way to the first frame, dead waves are dropped wherever a state is kept;
  // otherwise they would be stepped all the way.
  settings.render.keepResumePoints = true;
  settings.render.snapshots = plan.snapshots;
  settings.render.ticksBetweenSnapshots = request.snapshotSeconds * kTicksPerSecond;
  settings.enoughShown = ShownCounter::EnoughOf(plan.frames.size());
  return settings;
}

std::unique_ptr<FrameWork> WorkFor(const RenderPlan& plan, const SceneWorkSettings& settings) {
  if (plan.pictures) return MakePictureWork(*plan.pictures, plan.form, plan.output.kind);
  return MakeSceneWork(settings, plan.scene, plan.output);
}

// Receives finished frames: updates the summary, passes ordered frames to the sink, reports progress.
class FrameCollector {
 public:
  void Finish() {
    stats_.AddRest(stage::TakeStageSeconds());
    summary_.stages = stats_.Summaries();
    // A film that shows nothing is rarely intended, and it may be used before anybody looks at it.
    if (shown_.IsLittle()) summary_.warning = shown_.Text();
  }

  FrameCollector(const RenderPlan& plan, Progress& progress, RenderSummary& summary)
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
  const RenderPlan& plan_;
  Progress& progress_;
  RenderSummary& summary_;
  std::int64_t done_ = 0;
  ShownCounter shown_;
  StageStats stats_;
};

void RenderFrames(const RenderRequest& request, const RenderPlan& plan, Progress& progress, RenderSummary& summary) {
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

std::string WhyOf(const RenderPlan& plan, const RenderRequest& request) {
  stage::EffectModule module(stage::LoadEffect(ModuleFile(request.scene.module)));
  std::string why = WhyLittleIsShown(module, plan.scene, plan.frames, request.scene.maxWaves);
  module.SetDown();
  return why;
}

// What a render that was killed left unfinished.
void RemoveLeftovers(const RenderPlan& plan) {
  std::vector<std::filesystem::path> files;
  for (const std::int32_t frame : plan.frames) files.push_back(plan.output.FileOf(frame));
  stage::RemoveAbandoned(files);
}

void PrintPlan(const RenderPlan& plan) {
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
  const RenderPlan plan = MakeRenderPlan(request);
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
