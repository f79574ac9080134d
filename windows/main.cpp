// The program for Windows: orvandel render, check, schema.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <map>
#include <sstream>

#include "cli/console.h"
#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "stage/base/errors.h"
#include "stage/base/file_bytes.h"
#include "stage/module/effect_module.h"
#include "stage/module/linked_effect.h"
#include "stage/scene/scene_schema.h"
#include "windows/console.h"
#include "windows/render.h"

namespace orvandel::windows {
namespace {

constexpr const char* kExamples = R"(
orvandel render scene.json -o frames\f.####.png --jobs 0
orvandel render scene.json -o f.####.png -F 0,10-20 --set Frequency=5
orvandel render scene.json -o film.mov
orvandel check scene.json

Films (.mp4, .mov, .webm, .mkv, .apng, .webp) are made by ffmpeg.exe, which must be in a folder of the PATH. Scenes may have
PNG and SVG files, formulas and WAV sounds; films as a scene's input are for the program on Linux.

Exit codes: 0 done; 1 failed; 2 bad arguments or a bad scene; 130 interrupted, and what stays on disk is whole.)";

void Check(const std::string& name, const stage::ReadOptions& options) {
  stage::EffectModule module(stage::LinkedEffect());
  const auto file = LongName(name);
  constexpr std::size_t kLongest = 64U << 20;
  const auto faults = stage::SceneTextComplaints(stage::ReadWholeFile(file, kLongest), file, module.Catalog(), options);
  for (const std::string& fault : faults) cli::Tell(fault + "\n");
  module.SetDown();
  if (!faults.empty()) throw stage::InputError(fmt::format("{}: {} to mend", name, faults.size()));
  cli::WriteOutput(name + ": good\n");
}

void AddScene(CLI::App& command, std::string& scene, stage::ReadOptions& options) {
  command.add_option("SCENE", scene, "the scene file")->required();
  command.add_option("--set", options.sets, "NAME=VALUE: a parameter in place of the scene's")->allow_extra_args(false);
  command.add_flag("--allow-outside", options.allowOutside, "media may lie outside the scene's folder");
}

void AddRender(CLI::App& app, RenderRequest& request) {
  using cli::ProgressKind;
  using stage::FilmQuality;
  CLI::App& command = *app.add_subcommand("render", "frames of a scene into PNG pictures with alpha, or a film");
  AddScene(command, request.scene, request.options);
  command.add_option("-o,--output", request.output, "f.####.png: the frame's number stands for ####; or a film")
      ->required();
  auto* list = command.add_option("-F,--frames", request.frames.list, "0,5,10-20,200-300x5; default: all");
  command.add_option("--in", request.frames.in, "only frames from this second on")->excludes(list);
  command.add_option("--out", request.frames.out, "only frames before this second")->excludes(list);
  command.add_option("--quality", request.quality, "full or draft")->check(CLI::IsMember({"full", "draft"}));
  command.add_option("--downsample", request.downsample, "1/K of the size")->check(CLI::Range(1, 30000));
  std::vector<std::string> codecs;
  for (const stage::FilmKind& kind : stage::FilmKinds()) codecs.push_back(kind.name);
  command.add_option("--codec", request.codec, "of a film whose extension has several")->check(CLI::IsMember(codecs));
  command.add_option("--film-quality", request.filmQuality, "high, medium or low: smaller files")
      ->transform(CLI::Transformer(std::map<std::string, FilmQuality>{
          {"high", FilmQuality::kHigh}, {"medium", FilmQuality::kMedium}, {"low", FilmQuality::kLow}}));
  command.add_flag("--no-sound", request.noSound, "a film without the scene's sound");
  constexpr int kMostJobs = 256;
  command.add_option("-j,--jobs", request.jobs, "frames at a time; 0: one a processor")
      ->check(CLI::Range(0, kMostJobs));
  auto* overwrite = command.add_flag("--overwrite", request.overwrite, "replace files that exist");
  command.add_flag("--resume", request.resume, "keep them, and render those that are missing")->excludes(overwrite);
  auto* progress =
      command.add_option("--progress", request.progress, "auto, bar, lines, json or none")
          ->transform(CLI::Transformer(std::map<std::string, ProgressKind>{{"auto", ProgressKind::kFromTerminal},
                                                                           {"bar", ProgressKind::kBar},
                                                                           {"lines", ProgressKind::kLines},
                                                                           {"json", ProgressKind::kJson},
                                                                           {"none", ProgressKind::kNone}}));
  command
      .add_flag_callback(
          "-q,--quiet", [&request] { request.progress = ProgressKind::kQuiet; }, "neither progress nor summary")
      ->excludes(progress);
}

cli::ExitCode Run(std::vector<std::string> arguments, RenderRequest& request) {
  CLI::App app("generates expanding shapes: renders a scene file into pictures or a film", "orvandel");
  app.allow_windows_style_options(false);  // paths may begin with a slash
  app.set_version_flag("--version", "orvandel " ORVANDEL_VERSION);
  app.footer(kExamples);
  app.require_subcommand(1);
  AddRender(app, request);
  CLI::App& check = *app.add_subcommand("check", "what is wrong with a scene, every mistake there is");
  AddScene(check, request.scene, request.options);
  CLI::App& schema = *app.add_subcommand("schema", "the scene file's JSON Schema, for editors");
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));  // it takes them from the end
  } catch (const CLI::ParseError& error) {
    std::ostringstream out, problems;
    const int code = app.exit(error, out, problems);
    cli::WriteOutput(out.str());
    cli::Tell(problems.str());
    return code == 0 ? cli::kDone : cli::kBadInput;
  }
  if (app.got_subcommand("render")) Render(request);
  if (check) Check(request.scene, request.options);
  if (schema) {
    stage::EffectModule module(stage::LinkedEffect());
    cli::WriteOutput(stage::SceneSchema(module.Catalog()));
    module.SetDown();
  }
  return cli::kDone;
}

}  // namespace
}  // namespace orvandel::windows

int wmain(int count, wchar_t** arguments) {
  using namespace orvandel;
  windows::RenderRequest request;
  try {
    windows::CatchInterrupts();
    std::vector<std::string> texts;
    for (int i = 1; i < count; ++i) texts.push_back(windows::Utf8Of(arguments[i]));
    return windows::Run(texts, request);
  } catch (...) {
    const bool json = request.progress == cli::ProgressKind::kJson;
    return cli::ReportFailure(std::current_exception(), json ? cli::FailureStyle::kJson : cli::FailureStyle::kLine);
  }
}
