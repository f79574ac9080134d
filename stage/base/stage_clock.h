// Where the time of a thread's work goes. At any moment one stage at most is under way: one that begins inside another
// takes over until it ends, so that the stages' times add up.
#pragma once

#include <array>
#include <cstddef>

namespace orvandel::stage {

enum class WorkStage { kReading, kDrawing, kCompositing, kEncoding, kWriting };
inline constexpr std::array kStageNames{"reading", "drawing", "compositing", "encoding", "writing"};
using StageSeconds = std::array<double, kStageNames.size()>;  // by WorkStage

class StageTimer {
 public:
  explicit StageTimer(WorkStage stage);
  ~StageTimer();
  StageTimer(const StageTimer&) = delete;
  StageTimer& operator=(const StageTimer&) = delete;

 private:
  int interrupted_;
};

// What this thread has spent since it last asked; never while a stage is under way.
StageSeconds TakeStageSeconds();
// Adds what other clocks of this thread have counted.
void AddStageSeconds(const StageSeconds& seconds);

}  // namespace orvandel::stage
