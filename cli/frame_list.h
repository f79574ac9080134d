// The frames that a person asks for: "0,5,10-20,200-300x5".
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace orvandel::cli {

// Items separated by commas or blanks, in the order given and as often as given: N, A-B (both ends included), A-BxS
// (every S-th from A); A..B is A-B. Throws InputError when the text is malformed or asks for a frame outside
// 0..frameCount-1. `frameCount` is at least 1.
std::vector<std::int32_t> ParseFrameList(std::string_view text, std::int32_t frameCount);

std::vector<std::int32_t> AllFrames(std::int32_t frameCount);

// Each frame once, at its first position.
std::vector<std::int32_t> WithoutRepeats(const std::vector<std::int32_t>& frames);

}  // namespace orvandel::cli
