// Paths made of text, which is UTF-8 everywhere. (Paths made of plain characters hold the same bytes on some systems;
// on others each byte would be a character.)
#pragma once

#include <filesystem>
#include <string_view>

namespace orvandel::stage {

inline std::filesystem::path PathOf(std::string_view text) {
  return std::u8string_view(reinterpret_cast<const char8_t*>(text.data()), text.size());
}

}  // namespace orvandel::stage
