// "#rrggbb", as scenes and options write colours.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace orvandel::stage {

// 0xrrggbb; nothing for any other text.
std::optional<std::uint32_t> ParseColor(std::string_view text);

}  // namespace orvandel::stage
