// Completion scripts for three shells, from the command tree.
#include <fmt/format.h>

#include <algorithm>

#include "cli/command_tree.h"
#include "stage/base/errors.h"

namespace orvandel::cli {
namespace {

// Values that the shell completes with existing files.
bool IsFile(const OptionHelp& option) {
  return option.value == "FILE" || option.value == "SCENE" || option.value == "NAME" || option.value == "FOLDER";
}
bool IsPreset(const OptionHelp& option) { return option.value == "PRESET"; }
bool IsAssignment(const OptionHelp& option) { return option.value == "NAME=VALUE"; }

constexpr const char* kPresetNames = "orvandel presets 2>/dev/null | sed -e 1d -e 's/ .*//'";

// Between single quotes.
std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

std::string Words(const std::vector<CommandHelp>& commands) {
  std::string words;
  for (const CommandHelp& command : commands) words += (words.empty() ? "" : " ") + command.name;
  return words;
}

// --- bash

// Bash breaks words at the equals sign: what stands before it is a word of its own. Names have blanks, so what is
// offered is quoted, unless a quote has been opened. The scene on the line adds the names of its masks and layers.
constexpr const char* kBashAssignments = R"(_orvandel_set() {
  local program="$1" start="$2" typed="$3" quoted="" scene="" word line
  case "$typed" in
    \'* | \"*) quoted=1 typed="${typed:1}" ;;
    *) typed="${typed//\\/}" ;;
  esac
  start="${start//\\/}"
  for word in "${COMP_WORDS[@]:2}"; do
    [[ $word == *.json && -f $word ]] && scene="$word"
  done
  while IFS= read -r line; do
    [[ $line == "$start$typed"* ]] || continue
    if [[ "$start$typed" == *=* ]]; then
      [[ $line == *= ]] && continue
    else
      [[ $line == *= ]] || continue
      compopt -o nospace 2>/dev/null
    fi
    line="${line#"$start"}"
    [[ $quoted ]] || printf -v line '%q' "$line"
    COMPREPLY+=("$line")
  done < <({ "$program" params ${scene:+"$scene"} --assignments || "$program" params --assignments; } 2>/dev/null)
}
)";
constexpr const char* kBashFindsAssignment = R"(  local at=$COMP_CWORD
  if [[ $previous == --set ]]; then
    _orvandel_set "$1" "" "$current"
    return
  elif [[ $current == = && ${COMP_WORDS[at-2]} == --set ]]; then
    _orvandel_set "$1" "$previous=" ""
    return
  elif [[ $previous == = ]] && ((at > 2)) && [[ ${COMP_WORDS[at-3]} == --set ]]; then
    _orvandel_set "$1" "${COMP_WORDS[at-2]}=" "$current"
    return
  fi
)";

std::string BashValueCase(const OptionHelp& option) {
  const std::string names = fmt::format("{}", fmt::join(option.names, "|"));
  if (!option.choices.empty()) {
    return fmt::format("        {}) COMPREPLY=($(compgen -W \"{}\" -- \"$current\")); return ;;\n", names,
                       fmt::join(option.choices, " "));
  }
  if (IsPreset(option)) {
    return fmt::format("        {}) COMPREPLY=($(compgen -W \"$({})\" -- \"$current\")); return ;;\n", names,
                       kPresetNames);
  }
  return fmt::format("        {}) {}return ;;\n", names, IsFile(option) ? "compopt -o default; " : "");
}

std::string BashCommand(const std::string& name, const CommandHelp& command) {
  std::string values, dashed, words;
  for (const OptionHelp& option : command.options) {
    if (option.positional) {
      if (!option.choices.empty()) words = fmt::format("{}", fmt::join(option.choices, " "));
      continue;
    }
    for (const std::string& dash : option.names) dashed += (dashed.empty() ? "" : " ") + dash;
    if (!option.value.empty() || !option.choices.empty()) values += BashValueCase(option);
  }
  const bool takesFiles = words.empty();
  if (!command.commands.empty()) words = Words(command.commands);
  std::string other;
  if (!words.empty()) other = fmt::format("COMPREPLY=($(compgen -W \"{}\" -- \"$current\")); ", words);
  if (takesFiles) other += "compopt -o default";
  return fmt::format(
      "    \"{}\")\n      case \"$previous\" in\n{}        *) ;;\n      esac\n      case \"$current\" in\n"
      "        -*) COMPREPLY=($(compgen -W \"{}\" -- \"$current\")) ;;\n        *) {} ;;\n      esac\n      ;;\n",
      name, values, dashed, other);
}

std::string Bash(const CommandHelp& program) {
  std::string cases, steps;
  for (const CommandHelp& command : program.commands) {
    cases += BashCommand(command.name, command);
    for (const CommandHelp& step : command.commands) {
      const std::string name = command.name + " " + step.name;
      cases += BashCommand(name, step);
      steps += fmt::format("  [[ \"$command $step\" == \"{0}\" ]] && command=\"{0}\"\n", name);
    }
  }
  return fmt::format(
      "{3}_{0}() {{\n  local current=\"${{COMP_WORDS[COMP_CWORD]}}\" previous=\"${{COMP_WORDS[COMP_CWORD-1]}}\"\n"
      "  COMPREPLY=()\n  if ((COMP_CWORD == 1)); then\n"
      "    COMPREPLY=($(compgen -W \"{1} --help --version --version-number\" -- \"$current\"))\n    return\n  fi\n{4}"
      "  local command=\"${{COMP_WORDS[1]}}\" step=\"\"\n  ((COMP_CWORD > 2)) && step=\"${{COMP_WORDS[2]}}\"\n{5}"
      "  case \"$command\" in\n{2}  esac\n}}\ncomplete -F _{0} {0}\n",
      program.name, Words(program.commands), cases, kBashAssignments, kBashFindsAssignment, steps);
}

// --- zsh

constexpr const char* kZshAssignments = R"(_orvandel_set() {
  local -a all=("${(@f)$(orvandel params --assignments 2>/dev/null)}")
  if [[ $PREFIX == *=* ]]; then
    compadd -- "${(@)all:#*=}"
  else
    compadd -S '' -- "${(@M)all:#*=}"
  fi
}
)";

// Colons and brackets separate the parts of an option as zsh's _arguments takes it.
std::string ZshText(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == ':' || c == '[' || c == ']' || c == '\\') escaped += '\\';
    escaped += c;
  }
  return escaped;
}

std::string ZshValue(const OptionHelp& option) {
  const std::string label = option.value.empty() ? "value" : option.value;
  if (!option.choices.empty()) return fmt::format(":{}:({})", label, fmt::join(option.choices, " "));
  if (IsPreset(option)) return fmt::format(":{}:($({}))", label, kPresetNames);
  if (IsFile(option)) return fmt::format(":{}:_files", label);
  if (IsAssignment(option)) return fmt::format(":{}:_orvandel_set", label);
  return option.value.empty() ? "" : fmt::format(":{}: ", label);
}

std::string ZshCommand(const std::string& name, const CommandHelp& command) {
  std::string text = fmt::format("    '{}')\n      _arguments", name);
  for (const OptionHelp& option : command.options) {
    if (option.positional) {
      const std::string value =
          command.commands.empty() ? ZshValue(option)
                                   : fmt::format(":{}:{{ compadd {}; _files }}", option.value, Words(command.commands));
      text += " \\\n        " + Quoted((option.required ? "" : ":") + value);
      continue;
    }
    for (const std::string& dash : option.names) {
      text += " \\\n        " + Quoted(fmt::format("*{}[{}]{}", dash, ZshText(option.help), ZshValue(option)));
    }
  }
  return text + "\n      ;;\n";
}

std::string Zsh(const CommandHelp& program) {
  std::string names, cases, steps;
  for (const CommandHelp& command : program.commands) {
    for (const CommandHelp& step : command.commands) {
      const std::string name = command.name + " " + step.name;
      cases += ZshCommand(name, step);
      steps += fmt::format("  [[ \"$command $step\" == \"{0}\" ]] && command=\"{0}\"\n", name);
    }
    names += "    " + Quoted(fmt::format("{}:{}", command.name, ZshText(command.description))) + "\n";
    cases += ZshCommand(command.name, command);
  }
  return fmt::format(
      "#compdef {0}\n{3}_{0}() {{\n  local -a commands=(\n{1}  )\n  if ((CURRENT == 2)); then\n"
      "    _describe command commands\n    return\n  fi\n  local command=$words[2]\n  shift words\n"
      "  ((CURRENT--))\n  local step=\"\"\n  ((CURRENT > 2)) && step=$words[2]\n{4}"
      "  if [[ $command == *' '* ]]; then\n    shift words\n    ((CURRENT--))\n  fi\n  case $command in\n{2}  "
      "esac\n}}\nif [[ $funcstack[1] == _{0} ]]; then\n  _{0} \"$@\"\n"
      "else\n  compdef _{0} {0}\nfi\n",
      program.name, names, cases, kZshAssignments, steps);
}

// --- fish

// `seen`: the condition under which it is offered.
std::string FishOption(const std::string& program, const std::string& seen, const OptionHelp& option) {
  std::string text = fmt::format("complete -c {} -n '{}'", program, seen);
  for (const std::string& name : option.names) {
    text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  if (!option.choices.empty()) {
    text += fmt::format(" -x -a '{}'", fmt::join(option.choices, " "));
  } else if (IsPreset(option)) {
    text += fmt::format(" -x -a \"({})\"", kPresetNames);
  } else if (IsAssignment(option)) {
    text += " -x -a '(orvandel params --assignments 2>/dev/null)'";
  } else if (!option.value.empty()) {
    text += IsFile(option) ? " -r -F" : " -x";
  }
  return text + " -d " + Quoted(option.help) + "\n";
}

std::string FishOptions(const std::string& program, const std::string& seen, const CommandHelp& command) {
  std::string text;
  for (const OptionHelp& option : command.options) {
    if (!option.positional) {
      text += FishOption(program, seen, option);
    } else if (!option.choices.empty()) {
      text += fmt::format("complete -c {} -n '{}' -x -a '{}'\n", program, seen, fmt::join(option.choices, " "));
    }
  }
  return text;
}

std::string FishCommand(const std::string& program, const CommandHelp& command) {
  const std::string seen = "__fish_seen_subcommand_from " + command.name;
  std::string text = fmt::format("complete -c {} -n __fish_use_subcommand -x -a {} -d {}\n", program, command.name,
                                 Quoted(command.description));
  if (command.commands.empty()) return text + FishOptions(program, seen, command);
  // A step has options of its own in place of the command's.
  const std::string steps = "__fish_seen_subcommand_from " + Words(command.commands);
  text += FishOptions(program, fmt::format("not {}; and {}", steps, seen), command);
  for (const CommandHelp& step : command.commands) {
    text += fmt::format("complete -c {} -n '{}; and not {}' -a {} -d {}\n", program, seen, steps, step.name,
                        Quoted(step.description));
    text += FishOptions(program, fmt::format("{}; and __fish_seen_subcommand_from {}", seen, step.name), step);
  }
  return text;
}

std::string Fish(const CommandHelp& program) {
  std::string text;
  for (const CommandHelp& command : program.commands) text += FishCommand(program.name, command);
  return text;
}

}  // namespace

std::string Completions(const CommandHelp& program, const std::string& shell) {
  if (shell == "bash") return Bash(program);
  if (shell == "zsh") return Zsh(program);
  if (shell == "fish") return Fish(program);
  throw stage::InputError(fmt::format("there are completions for bash, zsh and fish, none for '{}'", shell));
}

}  // namespace orvandel::cli
