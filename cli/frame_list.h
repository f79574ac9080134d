// The frames that a person asks for: "0,5,10-20,200-300x5", or those between two times.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "stage/scene/timebase.h"

namespace orvandel::cli {

// Items separated by commas or blanks, in the order given and as often as given: N, A-B (both ends included), A-BxS
// (every S-th from A); A..B is A-B. Throws InputError when the text is malformed or asks for a frame outside
// 0..frameCount-1. `frameCount` is at least 1.
std::vector<std::int32_t> ParseFrameList(std::string_view text, std::int32_t frameCount);

std::vector<std::int32_t> AllFrames(std::int32_t frameCount);

// What --frames, or --in and --out, say.
struct FrameChoice {
  std::optional<std::string> list;
  std::string in, out;  // seconds; empty: the scene's ends
};

// The list's, or those whose time is `in` or later and before `out`: films cut at one time neither share nor lack a
// frame. InputError.
std::vector<std::int32_t> ChosenFrames(const FrameChoice& choice, const stage::Timebase& time);

// Each frame once, at its first position.
std::vector<std::int32_t> WithoutRepeats(const std::vector<std::int32_t>& frames);

}  // namespace orvandel::cli
