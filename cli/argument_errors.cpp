#include "cli/argument_errors.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "stage/base/names.h"

namespace orvandel::cli {
namespace {

const CLI::App* CommandOf(const CLI::App& app) {
  const auto commands = app.get_subcommands();
  return commands.empty() ? nullptr : commands.front();
}

std::string UnknownOption(const CLI::App& command, const std::string& word) {
  const std::string name = word.substr(0, word.find('='));
  std::vector<std::string> known;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& longName : option->get_lnames()) known.push_back("--" + longName);
  }
  return fmt::format("there is no option {}{}", name, stage::DidYouMean(name, known));
}

std::string UnknownCommand(const CLI::App& app, const std::string& word) {
  std::vector<std::string> known;
  for (const CLI::App* command : app.get_subcommands(nullptr)) known.push_back(command->get_name());
  return fmt::format("there is no command {}{}", stage::Quoted(word), stage::DidYouMean(word, known));
}

std::string Unexpected(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> words = app.remaining(true);
  if (words.empty()) return error.what();
  const CLI::App* command = CommandOf(app);
  const auto option = std::find_if(words.begin(), words.end(), [](const auto& word) { return word.starts_with("-"); });
  if (option != words.end()) return UnknownOption(command == nullptr ? app : *command, *option);
  if (command == nullptr) return UnknownCommand(app, words.front());
  return fmt::format("{} is one argument too many", stage::Quoted(words.front()));
}

void Replace(std::string& text, std::string_view from, std::string_view to) {
  for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

}  // namespace

std::string ExplainArguments(const CLI::App& app, const CLI::ParseError& error) {
  const CLI::App* command = CommandOf(app);
  const bool extra = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
  std::string text = extra ? Unexpected(app, error) : std::string(error.what());
  Replace(text, "At Most 1 required but received", "may be given once, but is there so many times:");
  Replace(text, ".000000", "");
  Replace(text, " not in {", " is none of {");
  Replace(text, "Value ", "");
  if (const auto at = text.find(" unit not recognized"); at != std::string::npos) {
    text = text.substr(0, at) + " is not a number of bytes, such as 8G, 500M or 2000000000";
  }
  Replace(text, " not in range ", " is not a number in the range ");
  return fmt::format("{} (orvandel {}--help)", text, command == nullptr ? "" : command->get_name() + " ");
}

}  // namespace orvandel::cli
