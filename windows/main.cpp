// The program for Windows: orvandel render, check, schema.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <sstream>

#include "stage/base/errors.h"
#include "stage/base/file_bytes.h"
#include "stage/module/effect_module.h"
#include "stage/module/linked_effect.h"
#include "stage/scene/scene_schema.h"
#include "windows/console.h"
#include "windows/render.h"

namespace orvandel::windows {
namespace {

enum ExitCode { kDone = 0, kFailed = 1, kBadInput = 2, kInterrupted = 130 };

constexpr const char* kExamples = R"(
orvandel render scene.json -o frames\f.####.png
orvandel render scene.json -o f.####.png -F 0,10-20 --set Frequency=5
orvandel check scene.json

Media are PNG and SVG files. Films, sounds and formulas as a scene's input are for the program on Linux.)";

void Check(const std::string& name, const stage::ReadOptions& options) {
  stage::EffectModule module(stage::LinkedEffect());
  const auto file = LongName(name);
  constexpr std::size_t kLongest = 64U << 20;
  const auto faults = stage::SceneTextComplaints(stage::ReadWholeFile(file, kLongest), file, module.Catalog(), options);
  for (const std::string& fault : faults) Tell(fault + "\n");
  module.SetDown();
  if (!faults.empty()) throw stage::InputError(fmt::format("{}: {} to mend", name, faults.size()));
  WriteOutput(name + ": good\n");
}

void AddScene(CLI::App& command, std::string& scene, stage::ReadOptions& options) {
  command.add_option("SCENE", scene, "the scene file")->required();
  command.add_option("--set", options.sets, "NAME=VALUE: a parameter in place of the scene's")->allow_extra_args(false);
  command.add_flag("--allow-outside", options.allowOutside, "media may lie outside the scene's folder");
}

ExitCode Explain(const std::exception_ptr& failure) {
  const auto tell = [](const std::string& text) { Tell("orvandel: error: " + text + "\n"); };
  try {
    std::rethrow_exception(failure);
  } catch (const stage::Interrupted&) {
    tell("interrupted");
    return kInterrupted;
  } catch (const stage::InputError& error) {
    tell(error.what());
    return kBadInput;
  } catch (const stage::EffectError& error) {
    tell(error.message.empty() ? fmt::format("the effect failed with code {}", error.code) : error.message);
  } catch (const std::exception& error) {
    tell(error.what());
  }
  return kFailed;
}

ExitCode Run(std::vector<std::string> arguments) {
  CLI::App app("generates expanding shapes: renders a scene file into pictures", "orvandel");
  app.set_version_flag("--version", "orvandel " ORVANDEL_VERSION);
  app.footer(kExamples);
  app.require_subcommand(1);
  RenderRequest request;
  CLI::App& render = *app.add_subcommand("render", "frames of a scene into PNG pictures with alpha");
  AddScene(render, request.scene, request.options);
  render.add_option("-o,--output", request.output, "f.####.png: the frame's number stands for ####")->required();
  render.add_option("-F,--frames", request.frames, "0,5,10-20,200-300x5; default: all");
  render.add_option("--quality", request.quality, "full or draft")->check(CLI::IsMember({"full", "draft"}));
  render.add_option("--downsample", request.downsample, "1/K of the size")->check(CLI::Range(1, 64));
  auto* overwrite = render.add_flag("--overwrite", request.overwrite, "replace files that exist");
  render.add_flag("--resume", request.resume, "keep them, and render those that are missing")->excludes(overwrite);
  render.add_flag("-q,--quiet", request.quiet, "neither progress nor summary");
  CLI::App& check = *app.add_subcommand("check", "what is wrong with a scene, every mistake there is");
  AddScene(check, request.scene, request.options);
  CLI::App& schema = *app.add_subcommand("schema", "the scene file's JSON Schema, for editors");
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));  // it takes them from the end
  } catch (const CLI::ParseError& error) {
    std::ostringstream out, problems;
    const int code = app.exit(error, out, problems);
    WriteOutput(out.str());
    Tell(problems.str());
    return code == 0 ? kDone : kBadInput;
  }
  if (render) Render(request);
  if (check) Check(request.scene, request.options);
  if (schema) {
    stage::EffectModule module(stage::LinkedEffect());
    WriteOutput(stage::SceneSchema(module.Catalog()));
    module.SetDown();
  }
  return kDone;
}

}  // namespace
}  // namespace orvandel::windows

int wmain(int count, wchar_t** arguments) {
  using namespace orvandel::windows;
  try {
    CatchInterrupts();
    std::vector<std::string> texts;
    for (int i = 1; i < count; ++i) texts.push_back(Utf8Of(arguments[i]));
    return Run(texts);
  } catch (...) {
    return Explain(std::current_exception());
  }
}
