#include "stage/base/display_text.h"

namespace orvandel::stage {

std::string DisplayText(std::string_view key) {
  constexpr std::string_view kKeyMark = "$$$/";
  if (!key.starts_with(kKeyMark)) return std::string(key);
  const std::size_t equals = key.find('=');
  return std::string(equals == std::string_view::npos ? key : key.substr(equals + 1));
}

std::string WithLineBreaks(std::string_view text) {
  constexpr std::string_view kBreak = "#{cr}";
  std::string result;
  std::size_t from = 0;
  for (std::size_t at = text.find(kBreak); at != std::string_view::npos; at = text.find(kBreak, from)) {
    result.append(text.substr(from, at - from)).push_back('\n');
    from = at + kBreak.size();
  }
  return result.append(text.substr(from));
}

}  // namespace orvandel::stage
