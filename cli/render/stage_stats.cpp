#include "cli/render/stage_stats.h"

#include <algorithm>
#include <numeric>

namespace orvandel::cli {

void StageStats::AddFrame(const stage::StageSeconds& seconds) {
  for (std::size_t i = 0; i < seconds.size(); ++i) frames_[i].push_back(seconds[i]);
}

void StageStats::AddRest(const stage::StageSeconds& seconds) {
  for (std::size_t i = 0; i < seconds.size(); ++i) rest_[i] += seconds[i];
}

std::vector<StageSummary> StageStats::Summaries() const {
  std::vector<StageSummary> summaries;
  for (std::size_t i = 0; i < frames_.size(); ++i) {
    std::vector<double> frames = frames_[i];
    StageSummary summary{stage::kStageNames[i], 0, 0, std::accumulate(frames.begin(), frames.end(), rest_[i])};
    if (summary.sum == 0) continue;
    if (!frames.empty()) {
      const auto middle = frames.begin() + static_cast<std::ptrdiff_t>(frames.size() / 2);
      std::nth_element(frames.begin(), middle, frames.end());
      summary.median = *middle;
      summary.fastest = *std::min_element(frames.begin(), frames.end());
    }
    summaries.push_back(summary);
  }
  return summaries;
}

}  // namespace orvandel::cli
