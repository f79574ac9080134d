#include "stage/base/stage_clock.h"

#include <chrono>
#include <utility>

namespace orvandel::stage {
namespace {

using Clock = std::chrono::steady_clock;
constexpr int kNone = -1;

struct Running {
  int stage = kNone;
  Clock::time_point since{};
  StageSeconds seconds{};

  // Returns what was under way.
  int Switch(int next) {
    const auto now = Clock::now();
    if (stage != kNone) seconds[static_cast<std::size_t>(stage)] += std::chrono::duration<double>(now - since).count();
    since = now;
    return std::exchange(stage, next);
  }
};
thread_local Running running;

}  // namespace

StageTimer::StageTimer(WorkStage stage) : interrupted_(running.Switch(static_cast<int>(stage))) {}
StageTimer::~StageTimer() { running.Switch(interrupted_); }

StageSeconds TakeStageSeconds() { return std::exchange(running.seconds, StageSeconds{}); }

void AddStageSeconds(const StageSeconds& seconds) {
  for (std::size_t i = 0; i < seconds.size(); ++i) running.seconds[i] += seconds[i];
}

}  // namespace orvandel::stage
