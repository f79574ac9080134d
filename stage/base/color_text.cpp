#include "stage/base/color_text.h"

#include <charconv>

namespace orvandel::stage {

std::optional<std::uint32_t> ParseColor(std::string_view text) {
  if (text.size() != 7 || text[0] != '#') return std::nullopt;
  std::uint32_t color = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + 1, end, color, 16);
  if (error != std::errc() || stop != end) return std::nullopt;
  return color;
}

}  // namespace orvandel::stage
