#include "cli/farm/chunks.h"

#include <fmt/format.h>

#include <algorithm>

namespace orvandel::cli {
namespace {

constexpr double kShortest = 10, kLongest = 300;  // seconds
constexpr double kUsualCount = 64;
constexpr double kStartShare = 0.1;  // of a chunk's time

}  // namespace

Chunks ChunksOfSize(const std::vector<std::int32_t>& frames, std::size_t size) {
  Chunks chunks;
  for (std::size_t begin = 0; begin < frames.size(); begin += size) {
    const auto first = frames.begin() + static_cast<std::ptrdiff_t>(begin);
    chunks.emplace_back(first, first + static_cast<std::ptrdiff_t>(std::min(size, frames.size() - begin)));
  }
  return chunks;
}

Chunks ChunksByCost(const std::vector<std::int32_t>& frames, const FrameCosts& costs) {
  double total = 0;
  for (const std::int32_t frame : frames) total += costs.frame(frame);
  const double usual =
      std::max(std::clamp(total / kUsualCount, kShortest, kLongest), total / static_cast<double>(kMostChunks - 1));
  Chunks chunks;
  double spent = 0, enough = 0;
  for (const std::int32_t frame : frames) {
    if (chunks.empty() || spent >= enough) {
      chunks.emplace_back();
      spent = 0;
      enough = std::max(usual, costs.start(frame) / kStartShare);
    }
    chunks.back().push_back(frame);
    spent += costs.frame(frame);
  }
  return chunks;
}

std::string RunsText(const std::vector<std::int32_t>& numbers, Steps steps) {
  std::string text;
  for (std::size_t begin = 0, end = 0; begin < numbers.size(); begin = end) {
    end = begin + 1;
    const std::int32_t step = end < numbers.size() ? numbers[end] - numbers[begin] : 1;
    while (end < numbers.size() && numbers[end] - numbers[end - 1] == step) ++end;
    const bool isRun = step == 1 ? end - begin > 1 : steps == Steps::kWritten && end - begin > 2;
    if (!isRun) end = begin + 1;
    if (begin > 0) text += ',';
    text += fmt::format("{}", numbers[begin]);
    if (isRun) text += fmt::format("-{}", numbers[end - 1]);
    if (isRun && step != 1) text += fmt::format("x{}", step);
  }
  return text;
}

}  // namespace orvandel::cli
