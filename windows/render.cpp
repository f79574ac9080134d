// A crew of threads renders, each with a private copy of the effect. Of pictures each thread packs and writes its own;
// a film takes its frames in their order.
#include "windows/render.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "cli/failure.h"
#include "cli/output_pattern.h"
#include "cli/render/film_sound.h"
#include "cli/render/png_form.h"
#include "plugins/bridge/built_in_effect.h"
#include "stage/base/errors.h"
#include "stage/base/partial_file.h"
#include "stage/module/linked_effect.h"
#include "stage/render/frame_crew.h"
#include "stage/stills/png_file.h"
#include "windows/console.h"

namespace orvandel::windows {
namespace {

using Clock = std::chrono::steady_clock;
using stage::InputError;

double SecondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

struct Plan {
  stage::Scene scene;
  cli::OutputPattern pattern{"f.png"};
  bool isFilm = false;
  std::vector<std::int32_t> frames;  // that are left to render
  std::size_t kept = 0;
  std::int32_t width = 0, height = 0;
  int threads = 1;
  cli::SoundChoice sound;

  std::filesystem::path FileOf(std::int32_t frame) const { return LongName(pattern.For(frame).string()); }
};

void ReadSceneInto(Plan& plan, const RenderRequest& request) {
  stage::EffectModule module(stage::LinkedEffect());
  plan.scene = stage::ReadScene(LongName(request.scene), module.Catalog(), request.options);
  module.SetDown();
}

void PlanPictures(Plan& plan, const RenderRequest& request, const std::vector<std::int32_t>& asked) {
  if (!request.codec.empty()) throw InputError("--codec: is for films");
  if (asked.size() > 1 && !plan.pattern.HasNumber()) plan.pattern.AddNumber();
  for (const std::int32_t frame : asked) {
    const std::filesystem::path file = plan.FileOf(frame);
    const auto found = cli::FormOfPng(file);
    if (found && request.resume) {
      if (found->width != plan.width || found->height != plan.height || found->depth != 8) {
        throw InputError(fmt::format("--resume: '{}' is a picture of {} x {}, not of {} x {}", file.string(),
                                     found->width, found->height, plan.width, plan.height));
      }
      ++plan.kept;
      continue;
    }
    if (std::filesystem::exists(file) && !request.overwrite && !request.resume) {
      throw InputError(
          fmt::format("--output: '{}' exists; --overwrite replaces it, --resume keeps the pictures that "
                      "are there and renders the rest",
                      file.string()));
    }
    plan.frames.push_back(frame);
  }
}

void PlanFilm(Plan& plan, const RenderRequest& request, const std::vector<std::int32_t>& asked) {
  const stage::FilmKind kind = stage::FilmKindOf(plan.FileOf(0), request.codec);
  if (plan.pattern.HasNumber()) {
    throw InputError(fmt::format("--output: '{}' numbers a film; one film holds all frames", request.output));
  }
  const auto fall = std::adjacent_find(asked.begin(), asked.end(), std::greater_equal<>());
  if (fall != asked.end()) {
    throw InputError(
        fmt::format("--frames: {} comes after {}, but the frames of a film must rise", *(fall + 1), *fall));
  }
  if (request.resume) throw InputError("--resume: a film cannot be resumed; only numbered pictures can");
  if (std::filesystem::exists(plan.FileOf(0)) && !request.overwrite) {
    throw InputError(fmt::format("--output: '{}' exists; --overwrite replaces it", request.output));
  }
  // A film without alpha is over black unless the scene has a background; in linear light where the scene says so.
  if (!kind.hasAlpha && plan.scene.linear && plan.scene.background.IsNothing()) plan.scene.background.color = 0;
  if (!kind.sound.empty() && !request.noSound) plan.sound = cli::ChooseSound(plan.scene, {}, asked);
  plan.frames = asked;
  plan.isFilm = true;
}

Plan MakePlan(const RenderRequest& request) {
  Plan plan;
  plan.pattern = cli::OutputPattern(request.output);
  ReadSceneInto(plan, request);
  const auto scale = stage::RenderOptions{.downsample = request.downsample}.ScaleOf(plan.scene);
  plan.width = scale.width;
  plan.height = scale.height;
  const auto asked = cli::ChosenFrames(request.frames, plan.scene.time);
  if (plan.pattern.Extension() == ".png") {
    PlanPictures(plan, request, cli::WithoutRepeats(asked));
  } else {
    PlanFilm(plan, request, asked);
  }
  const auto processors = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
  const int jobs = request.jobs == 0 ? processors : request.jobs;
  plan.threads =
      std::max(1, static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(jobs), plan.frames.size())));
  return plan;
}

// What came of each frame, told one at a time.
class Teller {
 public:
  Teller(const Plan& plan, cli::Progress& progress, cli::RenderSummary& summary)
      : plan_(plan), progress_(progress), summary_(summary) {}

  void Done(std::int32_t frame, double seconds, std::int64_t waves) {
    const std::lock_guard lock(guard_);
    if (seconds > summary_.slowestSeconds) {
      summary_.slowestSeconds = seconds;
      summary_.slowestFrame = frame;
    }
    summary_.mostWaves = std::max(summary_.mostWaves, waves);
    cli::FrameDone done{frame, ++done_, static_cast<std::int64_t>(plan_.frames.size()), seconds, waves, {}, {}};
    if (!plan_.isFilm) done.file = plan_.FileOf(frame).string();
    progress_.Frame(done);
  }

 private:
  const Plan& plan_;
  cli::Progress& progress_;
  cli::RenderSummary& summary_;
  std::mutex guard_;
  std::int64_t done_ = 0;
};

stage::IfTaken IfTaken(const RenderRequest& request) {
  return request.overwrite ? stage::IfTaken::kReplace : stage::IfTaken::kFail;
}

void RenderPictures(const Plan& plan, const RenderRequest& request, stage::FrameCrew& crew, Teller& teller) {
  crew.Each(plan.frames.size(), [&](stage::SceneRenderer& renderer, std::size_t place) {
    if (StopRequested()) throw stage::Interrupted();
    const auto start = Clock::now();
    const std::int32_t frame = plan.frames[place];
    stage::WritePng(plan.FileOf(frame), renderer.Render(frame), IfTaken(request));
    teller.Done(frame, SecondsSince(start), renderer.WaveCount());
  });
}

void RenderFilm(const Plan& plan, const RenderRequest& request, stage::FrameCrew& crew, Teller& teller) {
  const auto film =
      stage::OpenFilm(plan.FileOf(0), {plan.scene.time.frameRate, plan.scene.pixelAspect, plan.width, plan.height,
                                       IfTaken(request), request.codec, request.filmQuality, plan.sound.sound});
  crew.Render(plan.frames, [&](const stage::FrameCrew::Rendered& rendered) {
    if (StopRequested()) throw stage::Interrupted();
    film->Add(rendered.picture);
    teller.Done(rendered.frame, rendered.seconds, rendered.waves);
  });
  if (StopRequested()) throw stage::Interrupted();
  film->Finish();
}

void RenderFrames(const Plan& plan, const RenderRequest& request, cli::Progress& progress,
                  cli::RenderSummary& summary) {
  stage::RenderOptions options;
  options.highQuality = request.quality == "full";
  options.downsample = request.downsample;
  options.shouldStop = StopRequested;
  // The first needs no copy.
  const auto effect = [copies = 0]() mutable {
    return copies++ == 0 ? stage::LinkedEffect() : bridge::BuiltInEffect();
  };
  stage::FrameCrew crew(effect, plan.scene, options, plan.threads);
  Teller teller(plan, progress, summary);
  plan.isFilm ? RenderFilm(plan, request, crew, teller) : RenderPictures(plan, request, crew, teller);
}

}  // namespace

std::filesystem::path LongName(const std::string& name) {
  constexpr std::size_t kShort = 240;  // leaves room for the names of unfinished files
  std::filesystem::path whole = std::filesystem::absolute(std::filesystem::path(WideOf(name))).lexically_normal();
  whole.make_preferred();
  const std::wstring text = whole.wstring();
  if (text.size() < kShort || text.starts_with(L"\\\\")) return whole;
  return L"\\\\?\\" + text;
}

void Render(const RenderRequest& request) {
  const auto start = Clock::now();
  const Plan plan = MakePlan(request);
  std::vector<std::filesystem::path> files;
  for (const std::int32_t frame : plan.frames) files.push_back(plan.FileOf(frame));
  if (!files.empty()) std::filesystem::create_directories(files.front().parent_path());
  stage::RemoveAbandoned(files);

  const auto progress = cli::MakeProgress(request.progress);
  cli::RenderSummary summary;
  summary.start = {plan.scene.file.string(),
                   plan.pattern.Text(),
                   static_cast<std::int64_t>(plan.frames.size()),
                   static_cast<std::int64_t>(plan.kept),
                   plan.threads,
                   plan.scene.notes};
  progress->Begin(summary.start);
  if (!plan.sound.note.empty()) progress->Note(plan.sound.note);
  if (!plan.frames.empty()) RenderFrames(plan, request, *progress, summary);
  summary.seconds = SecondsSince(start);
  progress->End(summary);
}

}  // namespace orvandel::windows
