// How frames are shared out: chunks of neighbouring frames, each one task of the farm.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace orvandel::cli {

using Chunks = std::vector<std::vector<std::int32_t>>;

// Arrays of jobs end at this number on most farms.
inline constexpr std::size_t kMostChunks = 1000;

Chunks ChunksOfSize(const std::vector<std::int32_t>& frames, std::size_t size);

// What frames cost, in seconds.
struct FrameCosts {
  std::function<double(std::int32_t)> frame;  // drawn after the one before it
  std::function<double(std::int32_t)> start;  // to begin with this frame, beyond drawing it
};

// Chunks that take about the same time: long enough that starting one is at most a tenth of it, and between 10 seconds
// and 5 minutes beyond that, shorter ones for shorter films.
Chunks ChunksByCost(const std::vector<std::int32_t>& frames, const FrameCosts& costs);

// "0-9,12" for rising numbers, as arrays of jobs have them; with steps "0-90x10,95", as ParseFrameList reads it.
enum class Steps { kNone, kWritten };
std::string RunsText(const std::vector<std::int32_t>& numbers, Steps steps = Steps::kNone);

}  // namespace orvandel::cli
