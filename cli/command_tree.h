// The program's commands and options as data: what the manual page and the shell completions are made from, so that
// they say what the help says.
#pragma once

#include <string>
#include <vector>

namespace orvandel::cli {

struct OptionHelp {
  std::vector<std::string> names;    // "-o", "--output"; of an argument without a dash its one name
  std::string value;                 // "FILE"; empty for a flag
  std::vector<std::string> choices;  // where only these are allowed
  std::string help, defaultText;
  bool positional = false, required = false;
};

struct CommandHelp {
  std::string name, description;
  std::vector<OptionHelp> options;
  std::string footer;  // further sections, each begun by a line "Title:"
  std::vector<CommandHelp> commands;
};

// A manual page in section 1, as the formatter of manual pages reads it.
std::string ManPage(const CommandHelp& program, const std::string& version);

// A script for "bash", "zsh" or "fish"; InputError for another shell.
std::string Completions(const CommandHelp& program, const std::string& shell);

}  // namespace orvandel::cli
