#include "windows/render.h"

#include <fmt/format.h>

#include <vector>

#include "cli/frame_list.h"
#include "cli/output_pattern.h"
#include "stage/base/errors.h"
#include "stage/module/linked_effect.h"
#include "stage/render/scene_renderer.h"
#include "stage/stills/png_file.h"
#include "windows/console.h"

namespace orvandel::windows {
namespace {

using stage::InputError;

cli::OutputPattern PatternOf(const RenderRequest& request, std::size_t frames) {
  cli::OutputPattern pattern(request.output);
  if (pattern.Extension() != ".png") throw InputError(fmt::format("--output: '{}' is no .png", request.output));
  if (frames > 1 && !pattern.HasNumber()) pattern.AddNumber();
  return pattern;
}

struct Task {
  std::int32_t frame;
  std::filesystem::path file;
};

std::vector<Task> TasksOf(const RenderRequest& request, const cli::OutputPattern& pattern,
                          const std::vector<std::int32_t>& frames) {
  std::vector<Task> tasks;
  for (const std::int32_t frame : frames) {
    const std::filesystem::path file = LongName(pattern.For(frame).string());
    const bool exists = std::filesystem::exists(file);
    if (exists && request.resume) continue;
    if (exists && !request.overwrite) {
      throw InputError(file.string() + " exists; --overwrite replaces it, --resume keeps it");
    }
    tasks.push_back({frame, file});
  }
  return tasks;
}

class Watcher {
 public:
  Watcher(std::size_t all, bool quiet) : all_(all), shows_(!quiet && IsWatched()) {}
  ~Watcher() {
    if (shows_ && done_ > 0) Tell("\n");
  }
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;
  void OneMore() {
    ++done_;
    if (shows_) Tell(fmt::format("\rframe {} of {}", done_, all_));
  }

 private:
  std::size_t all_, done_ = 0;
  bool shows_;
};

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
  stage::EffectModule module(stage::LinkedEffect());
  const stage::Scene scene = stage::ReadScene(LongName(request.scene), module.Catalog(), request.options);
  const auto asked = cli::WithoutRepeats(cli::ChosenFrames({request.frames, {}, {}}, scene.time));
  const cli::OutputPattern pattern = PatternOf(request, asked.size());
  const std::vector<Task> tasks = TasksOf(request, pattern, asked);
  std::vector<std::filesystem::path> files;
  for (const Task& task : tasks) files.push_back(task.file);
  if (!files.empty()) std::filesystem::create_directories(files.front().parent_path());
  stage::RemoveAbandoned(files);
  const auto ifTaken = request.overwrite ? stage::IfTaken::kReplace : stage::IfTaken::kFail;

  stage::RenderOptions options;
  options.highQuality = request.quality == "full";
  options.downsample = request.downsample;
  options.shouldStop = StopRequested;
  {
    stage::SceneRenderer renderer(module, scene, options);
    Watcher watcher(tasks.size(), request.quiet);
    for (const Task& task : tasks) {
      if (StopRequested()) throw stage::Interrupted();
      stage::WritePng(task.file, renderer.Render(task.frame), ifTaken);
      watcher.OneMore();
    }
  }
  module.SetDown();
  if (!request.quiet) Tell(fmt::format("orvandel: {} frames, {}\n", tasks.size(), pattern.Text()));
}

}  // namespace orvandel::windows
