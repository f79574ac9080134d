#include "cli/farm/shell_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "stage/base/errors.h"

namespace orvandel::cli {

std::string ShellWord(std::string_view text) {
  constexpr std::string_view kPlain = "_-./=:,+@%";
  const auto isPlain = [&](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || kPlain.find(c) != std::string_view::npos;
  };
  if (!text.empty() && std::all_of(text.begin(), text.end(), isPlain)) return std::string(text);
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

std::string ShellLine(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) line += (line.empty() ? "" : " ") + ShellWord(word);
  return line;
}

void RefuseControlCharacters(std::string_view name, std::string_view what) {
  const auto isControl = [](char c) { return std::iscntrl(static_cast<unsigned char>(c)) != 0; };
  if (std::none_of(name.begin(), name.end(), isControl)) return;
  throw stage::InputError(fmt::format("{}: '{}' holds a line break or another control character", what, name));
}

}  // namespace orvandel::cli
