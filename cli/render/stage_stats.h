// What the stages of a render took.
#pragma once

#include <array>
#include <string_view>
#include <vector>

#include "stage/base/stage_clock.h"

namespace orvandel::cli {

struct StageSummary {
  std::string_view name;
  double fastest = 0, median = 0;  // seconds of a frame
  double sum = 0;                  // of all frames, and of what belongs to none
};

class StageStats {
 public:
  void AddFrame(const stage::StageSeconds& seconds);
  void AddRest(const stage::StageSeconds& seconds);  // of no frame: a film's end
  // Only stages that the render had.
  std::vector<StageSummary> Summaries() const;

 private:
  std::array<std::vector<double>, stage::kStageNames.size()> frames_;
  stage::StageSeconds rest_{};
};

}  // namespace orvandel::cli
