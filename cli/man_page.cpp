// The manual page, from the command tree.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "cli/command_tree.h"

namespace orvandel::cli {
namespace {

// Text as the formatter takes it literally: dashes stay dashes, a dot that begins a line is no request.
std::string Literal(const std::string& text) {
  std::string literal;
  bool lineBegins = true;
  for (const char c : text) {
    if (lineBegins && (c == '.' || c == '\'')) literal += "\\&";
    lineBegins = c == '\n';
    if (c == '\\') {
      literal += "\\e";
    } else if (c == '-') {
      literal += "\\-";
    } else {
      literal += c;
    }
  }
  return literal;
}

std::string UpperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

bool IsTitle(const std::string& line) { return line.size() > 1 && line.back() == ':' && line.front() != ' '; }

// A footer: titled sections whose lines are kept as they are.
std::string FooterText(const std::string& footer, const char* titleRequest) {
  std::string text, line;
  bool kept = false;
  const auto endKept = [&] {
    if (kept) text += ".fi\n";
    kept = false;
  };
  for (std::size_t begin = 0; begin < footer.size();) {
    const std::size_t end = std::min(footer.find('\n', begin), footer.size());
    line = footer.substr(begin, end - begin);
    begin = end + 1;
    if (IsTitle(line)) {
      endKept();
      text += fmt::format("{} \"{}\"\n", titleRequest, Literal(line.substr(0, line.size() - 1)));
    } else if (!line.empty()) {
      if (!kept) text += ".nf\n";
      kept = true;
      text += Literal(line) + "\n";
    }
  }
  endKept();
  return text;
}

std::string OptionText(const OptionHelp& option) {
  std::string names;
  for (const std::string& name : option.names) names += (names.empty() ? "" : ", ") + ("\\fB" + Literal(name) + "\\fR");
  std::string text = ".TP\n" + names;
  if (!option.choices.empty()) {
    text += fmt::format(" {}", Literal(fmt::format("{}", fmt::join(option.choices, "|"))));
  } else if (!option.value.empty() && !option.positional) {
    text += " \\fI" + Literal(option.value) + "\\fR";
  }
  text += "\n" + Literal(option.help);
  if (!option.defaultText.empty()) text += Literal(fmt::format(" (default: {})", option.defaultText));
  return text + "\n";
}

std::string Synopsis(const std::string& program, const CommandHelp& command) {
  std::string text = fmt::format(".B {} {}\n", program, command.name);
  for (const OptionHelp& option : command.options) {
    if (!option.positional) continue;
    const std::string value = "\\fI" + Literal(option.value) + "\\fR";
    text += option.required ? value + "\n" : "[" + value + "]\n";
  }
  return text + "[\\fIoptions\\fR]\n";
}

std::string CommandText(const std::string& program, const CommandHelp& command) {
  std::string text = fmt::format(".SS {} {}\n{}.PP\n{}.\n", program, command.name, Synopsis(program, command),
                                 Literal(command.description));
  for (const OptionHelp& option : command.options) text += OptionText(option);
  text += FooterText(command.footer, ".PP\n.I");
  for (const CommandHelp& step : command.commands) text += CommandText(program + " " + command.name, step);
  return text;
}

}  // namespace

std::string ManPage(const CommandHelp& program, const std::string& version) {
  std::string text =
      fmt::format(".TH {} 1 \"\" \"{} {}\" \"User commands\"\n", UpperCase(program.name), program.name, version);
  text += fmt::format(".SH NAME\n{} \\- {}\n", program.name, Literal(program.description));
  text += fmt::format(".SH SYNOPSIS\n.B {}\n\\fIcommand\\fR [\\fIarguments\\fR]\n", program.name);
  text += ".SH COMMANDS\n";
  for (const CommandHelp& command : program.commands) text += CommandText(program.name, command);
  std::string footer = FooterText(program.footer, ".SH");
  return text + footer;
}

}  // namespace orvandel::cli
