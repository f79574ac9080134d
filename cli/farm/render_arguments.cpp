#include "cli/farm/render_arguments.h"

#include <fmt/format.h>

#include "cli/farm/shell_text.h"
#include "cli/module_file.h"

namespace orvandel::cli {
namespace {

std::string Absolute(const std::filesystem::path& file) {
  return std::filesystem::absolute(file).lexically_normal().string();
}

class Arguments {
 public:
  explicit Arguments(const RenderRequest& request, const std::string& output)
      : words_{ProgramFile().string(), "render", Absolute(request.scene.file)} {
    Add("--output", output);
    const stage::ReadOptions& options = request.scene.options;
    for (const std::string& set : options.sets) Add("--set", set);
    Add("--size", options.size);
    Add("--fps", options.frameRate);
    Add("--duration", options.duration);
    if (options.allowOutside) words_.push_back("--allow-outside");
    Add("--module", Absolute(ModuleFile(request.scene.module)));
    if (request.downsample != 1) Add("--downsample", fmt::format("{}", request.downsample));
    const std::string& background = request.background;
    const bool isFile = !background.empty() && background != "none" && background != "input" && background[0] != '#';
    Add("--background", isFile ? Absolute(background) : background);
    Add("--max-waves", fmt::format("{}", request.scene.maxWaves));
    if (request.maxMemory > 0) Add("--max-memory", fmt::format("{}", request.maxMemory));
    if (request.maxFrameSeconds > 0) Add("--max-frame-seconds", fmt::format("{}", request.maxFrameSeconds));
    Add("--jobs", fmt::format("{}", request.jobs.value_or(1)));
  }

  // Nothing where the value is empty.
  void Add(const std::string& option, const std::string& value) {
    if (value.empty()) return;
    RefuseControlCharacters(value, option);
    words_.push_back(option);
    words_.push_back(value);
  }
  void Add(const std::string& flag) { words_.push_back(flag); }
  Words Take() { return std::move(words_); }

 private:
  Words words_;
};

const char* WordOf(stage::PngEffort effort) {
  if (effort == stage::PngEffort::kFast) return "fast";
  return effort == stage::PngEffort::kSmall ? "small" : "default";
}

}  // namespace

std::filesystem::path ProgramFile() {
  std::error_code failed;
  const auto file = std::filesystem::read_symlink("/proc/self/exe", failed);
  return failed ? std::filesystem::path("orvandel") : file;
}

Words PictureArguments(const RenderRequest& request, const std::string& pictures) {
  RefuseControlCharacters(request.scene.file.string(), "SCENE");
  Arguments arguments(request, pictures);
  arguments.Add("--quality", request.highQuality ? "full" : "draft");
  arguments.Add("--depth", fmt::format("{}", request.depth));
  arguments.Add("--png-size", WordOf(request.pngEffort));
  if (!request.snapshots.empty()) {
    arguments.Add("--snapshots", Absolute(request.snapshots));
    arguments.Add("--snapshot-seconds", fmt::format("{}", request.snapshotSeconds));
  }
  arguments.Add("--progress", "lines");
  arguments.Add("--resume");
  return arguments.Take();
}

Words FilmArguments(const RenderRequest& request, const std::string& pictures, const std::string& film) {
  Arguments arguments(request, film);
  arguments.Add("--from-pictures", pictures);
  arguments.Add("--codec", request.codec);
  if (request.filmQuality != "high") arguments.Add("--film-quality", request.filmQuality);
  if (request.noSound) arguments.Add("--no-sound");
  arguments.Add("--progress", "lines");
  return arguments.Take();
}

}  // namespace orvandel::cli
