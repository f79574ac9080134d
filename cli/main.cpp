// The program `orvandel`: parses its arguments and runs one command.
#include <exception>
#include <sstream>

#include "cli/argument_errors.h"
#include "cli/arguments.h"
#include "cli/commands/commands.h"
#include "cli/console.h"
#include "cli/failure.h"
#include "cli/interrupt.h"
#include "cli/version_text.h"
#include "stage/base/errors.h"

namespace orvandel::cli {
namespace {

void RunRender(const Requests& requests) {
  if (requests.listFormats) {
    ListFormats();
  } else {
    Render(requests.render);
  }
}

void RunFarm(const CLI::App& farm, const Requests& requests) {
  if (farm.get_subcommands().empty()) return Farm(requests.farm);
  const std::string step = farm.get_subcommands().front()->get_name();
  if (step == "status") FarmStatus(requests.farmFolder);
  if (step == "resume") FarmResume(requests.farmFolder);
  if (step == "join") FarmJoin(requests.farmFolder);
}

void RunCommand(const CLI::App& app, Requests& requests) {
  if (app.get_subcommands().empty()) {
    throw stage::InputError("no command given (orvandel --help)");
  }
  CatchInterrupts();
  ResolveWords(requests);
  const std::string command = app.get_subcommands().front()->get_name();
  if (command == "render") RunRender(requests);
  if (command == "farm") RunFarm(*app.get_subcommands().front(), requests);
  if (command == "params") Params(requests.params);
  if (command == "check") Check(requests.check);
  if (command == "describe") Describe(requests.describe);
  if (command == "waves") Waves(requests.waves);
  if (command == "sheet") Sheet(requests.sheet);
  if (command == "new") New(requests.newScene);
  if (command == "studio") Studio(requests.studio);
  if (command == "presets") Presets(requests.presetsAsJson);
  if (command == "about") About(requests.about);
  if (command == "schema") Schema(requests.schema);
  if (command == "completions") WriteOutput(Completions(TreeOf(app), requests.shell));
  if (command == "man") WriteOutput(ManPage(TreeOf(app), ORVANDEL_VERSION));
  FlushOutput();
}

// --help and --version end the program well.
bool Parse(CLI::App& app, int argumentCount, char** arguments) {
  try {
    app.parse(argumentCount, arguments);
    return true;
  } catch (const CLI::Success& success) {
    std::ostringstream text;
    app.exit(success, text, text);
    WriteOutput(text.str());
    FlushOutput();
    return false;
  } catch (const CLI::ParseError& error) {
    throw stage::InputError(ExplainArguments(app, error));
  }
}

ExitCode Run(int argumentCount, char** arguments) {
  Requests requests;
  CLI::App app("generates expanding shapes: renders a scene file into pictures or a film", "orvandel");
  app.set_version_flag("--version", VersionText, "The program's version, its libraries and vector code");
  app.add_flag_callback(
      "--version-number", [] { throw CLI::CallForVersion(ORVANDEL_VERSION, CLI::ExitCodes::Success); },
      "The program's version alone, which loads no libraries");
  AddCommands(app, requests);
  auto style = FailureStyle::kLine;
  try {
    if (!Parse(app, argumentCount, arguments)) return kDone;
    if (requests.progress == "json") style = FailureStyle::kJson;
    RunCommand(app, requests);
    return kDone;
  } catch (...) {
    return ReportFailure(std::current_exception(), style);
  }
}

}  // namespace
}  // namespace orvandel::cli

int main(int argumentCount, char** arguments) {
  try {
    orvandel::cli::OccupyClosedDescriptors();
    return orvandel::cli::Run(argumentCount, arguments);
  } catch (...) {
    return orvandel::cli::ReportFailure(std::current_exception(), orvandel::cli::FailureStyle::kLine);
  }
}
