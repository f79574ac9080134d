// The program `orvandel`: parses its arguments and runs one command. The only file that includes the argument parser.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <exception>

#include "cli/commands/commands.h"
#include "cli/failure.h"
#include "cli/interrupt.h"
#include "stage/errors.h"

namespace orvandel::cli {
namespace {

constexpr const char* kRenderExamples = R"(
Frames:
  --frames takes frames and ranges separated by commas: 0,5,10-20,200-300x5. They are rendered in the order given.

Output:
  NAME.png        one frame; for several, .#### is inserted: NAME.0042.png
  NAME.####.png   the frame's number, as many digits as there are #; NAME.%04d.png is the same
  NAME.mp4        a film at the scene's frame rate, from frames that rise, over black
  NAME.mov        a film with alpha; also .webm, .mkv and .apng

Examples:
  orvandel render ripple.json -o ripple.mp4
  orvandel render ripple.json -o 'out/ripple.####.png' --frames 0-89x10
  orvandel render ripple.json -o thumbnail.png --frames 45 --downsample 4 --quality draft
)";

constexpr const char* kParamsExamples = R"(
Examples:
  orvandel params
  orvandel params ripple.json --time 1.5
  orvandel params --json | jq '.[].name'
)";

void AddModuleOption(CLI::App& command, std::filesystem::path& module) {
  command.add_option("--module", module, "The effect's module file; default: the one installed with the program")
      ->type_name("FILE");
}

// Everything that the arguments can say; the command that was named tells which part counts.
struct Requests {
  RenderRequest render;
  ParamsRequest params;
  AboutRequest about;
  std::string quality;
  bool quiet = false;
};

void AddRender(CLI::App& app, Requests& requests) {
  RenderRequest& request = requests.render;
  CLI::App& command = *app.add_subcommand("render", "Render frames of a scene into pictures or a film");
  command.add_option("scene", request.scene, "Scene file (JSON)")->required()->type_name("SCENE");
  command.add_option("-o,--output", request.output, "Picture, numbered pictures or film; see below")
      ->required()
      ->type_name("NAME");
  command.add_option("--frames", request.frames, "Frames to render; default: all")->type_name("LIST");
  command.add_option("--quality", requests.quality, "full, or draft: one sample a pixel and coarser curves")
      ->check(CLI::IsMember({"full", "draft"}))
      ->default_val("full");
  command.add_option("--downsample", request.downsample, "Render at 1/K of the size, in both directions")
      ->check(CLI::Range(1, 30000))
      ->type_name("K")
      ->default_val(1);
  command.add_flag("-q,--quiet", requests.quiet, "No progress and no closing line");
  AddModuleOption(command, request.module);
  command.footer(kRenderExamples);
}

void AddParams(CLI::App& app, ParamsRequest& request) {
  CLI::App& command = *app.add_subcommand("params", "List the effect's parameters, and their values in a scene");
  CLI::Option* scene =
      command.add_option("scene", request.scene, "Show the values that this scene sets")->type_name("SCENE");
  command.add_option("--time", request.seconds, "At this time of the scene, in seconds; default 0")
      ->check(CLI::Range(0.0, 1e6))
      ->needs(scene)
      ->type_name("T");
  command.add_flag("--json", request.asJson, "As JSON");
  AddModuleOption(command, request.module);
  command.footer(kParamsExamples);
}

void AddAbout(CLI::App& app, AboutRequest& request) {
  CLI::App& command = *app.add_subcommand("about", "Tell what the effect's module says about itself");
  AddModuleOption(command, request.module);
  command.footer("\nExample:\n  orvandel about --module build/debug/lib/orvandel/orvandel.so\n");
}

// Standard output is written through a buffer: a full disk shows only when it is emptied.
void FlushOutput() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw stage::WorkError("standard output cannot be written");
  }
}

void RunCommand(const CLI::App& app, Requests& requests) {
  if (app.get_subcommands().empty()) {
    throw stage::InputError("no command given: render, params or about (orvandel --help)");
  }
  CatchInterrupts();
  requests.render.highQuality = requests.quality == "full";
  if (requests.quiet) requests.render.progress = ProgressKind::kSilent;
  if (app.got_subcommand("render")) Render(requests.render);
  if (app.got_subcommand("params")) Params(requests.params);
  if (app.got_subcommand("about")) About(requests.about);
  FlushOutput();
}

ExitCode Run(int argumentCount, char** arguments) {
  CLI::App app("Orvandel generates expanding shapes: renders a scene file into pictures or a film.", "orvandel");
  app.set_version_flag("--version", "orvandel " ORVANDEL_VERSION);
  app.footer("orvandel COMMAND --help explains a command, with examples.");
  Requests requests;
  AddRender(app, requests);
  AddParams(app, requests.params);
  AddAbout(app, requests.about);
  try {
    app.parse(argumentCount, arguments);
  } catch (const CLI::Success& success) {  // --help, --version
    app.exit(success);
    return kDone;
  } catch (const CLI::ParseError& error) {
    throw stage::InputError(fmt::format("{} (orvandel --help)", error.what()));
  }
  RunCommand(app, requests);
  return kDone;
}

}  // namespace
}  // namespace orvandel::cli

int main(int argumentCount, char** arguments) {
  try {
    return orvandel::cli::Run(argumentCount, arguments);
  } catch (...) {
    return orvandel::cli::ReportFailure(std::current_exception());
  }
}
