#include "cli/argument_errors.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <vector>

#include "stage/base/names.h"

namespace orvandel::cli {
namespace {

// What the arguments name: "orvandel", "orvandel render", "orvandel farm status".
struct Command {
  const CLI::App* app;
  std::string words;
};

Command CommandOf(const CLI::App& program) {
  Command named{&program, program.get_name()};
  for (auto commands = program.get_subcommands(); !commands.empty(); commands = named.app->get_subcommands()) {
    named.app = commands.front();
    named.words += " " + named.app->get_name();
  }
  return named;
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

std::string Unexpected(const CLI::App& program, const CLI::App& command, const CLI::ParseError& error) {
  const std::vector<std::string> words = program.remaining(true);
  if (words.empty()) return error.what();
  const auto option = std::find_if(words.begin(), words.end(), [](const auto& word) { return word.starts_with("-"); });
  if (option != words.end()) return UnknownOption(command, *option);
  if (&command == &program) return UnknownCommand(program, words.front());
  return fmt::format("{} is one argument too many", stage::Quoted(words.front()));
}

// "orvandel farm staus FOLDER": a word that should have been a step was taken for the scene.
std::string UnknownStep(const CLI::App& command) {
  const CLI::Option* scene = command.get_option_no_throw("scene");
  const bool hasSteps = !command.get_subcommands(nullptr).empty();
  if (!hasSteps || scene == nullptr || scene->empty()) return {};
  const std::string word = scene->results().front();
  return word.find_first_of("./-") == std::string::npos ? UnknownCommand(command, word) : std::string();
}

void Replace(std::string& text, std::string_view from, std::string_view to) {
  for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

// "full, draft" of "{full,draft}", whether or not the first brace is there.
std::string ChoiceText(std::string list) {
  list.resize(std::min(list.find('}'), list.size()));
  Replace(list, "{", "");
  Replace(list, ",", ", ");
  return list;
}

// The parser's own sentence, made one that also says what is allowed.
std::string Reworded(std::string text) {
  // What follows a mark in the text, which then ends before the mark; nothing where there is no such mark.
  const auto cutFrom = [&text](std::string_view mark) -> std::optional<std::string> {
    const auto at = text.find(mark);
    if (at == std::string::npos) return std::nullopt;
    std::string rest = text.substr(at + mark.size());
    text.resize(at);
    return rest;
  };
  Replace(text, ".000000", "");
  Replace(text, "Value ", "");
  Replace(text, " excludes ", " cannot be given with ");
  Replace(text, " requires ", " needs ");
  Replace(text, " not in range ", " is not a number in the range ");
  if (const auto times = cutFrom("At Most 1 required but received ")) {
    text += fmt::format("may be given only once, but was given {} times", *times);
  } else if (auto choices = cutFrom(" not in {")) {
    text += " is not one of " + ChoiceText(*choices);
  } else if (auto value = cutFrom(": 1 required ")) {
    Replace(*value, " missing", "");
    if (const auto listed = value->find('{'); listed != std::string::npos) *value = ChoiceText(value->substr(listed));
    text += " needs a value: " + *value;
  } else if (cutFrom(" unit not recognized")) {
    text += " is not a number of bytes, such as 8G, 500M or 2000000000";
  }
  return text;
}

}  // namespace

std::string ExplainArguments(const CLI::App& program, const CLI::ParseError& error) {
  const Command named = CommandOf(program);
  const bool extra = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
  std::string text = UnknownStep(*named.app);
  if (text.empty()) text = extra ? Unexpected(program, *named.app, error) : Reworded(error.what());
  return fmt::format("{} ({} --help)", text, named.words);
}

}  // namespace orvandel::cli
