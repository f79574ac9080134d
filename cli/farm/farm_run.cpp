#include "cli/farm/farm_run.h"

#include <fmt/format.h>

#include <chrono>
#include <thread>

#include "cli/console.h"
#include "cli/failure.h"
#include "cli/farm/farm_report.h"
#include "cli/farm/picture_check.h"
#include "cli/farm/shell_text.h"
#include "cli/farm/slurm.h"
#include "cli/interrupt.h"
#include "cli/progress.h"
#include "stage/base/errors.h"

namespace orvandel::cli {
namespace {

constexpr auto kLook = std::chrono::milliseconds(100);
constexpr int kLooksPerPoll = 10;
constexpr int kMostSilences = 60;  // polls in a row that the queue may leave unanswered

void Pause() {
  for (int look = 0; look < kLooksPerPoll && !StopRequested(); ++look) std::this_thread::sleep_for(kLook);
}

// Looks again only at what was missing before.
class FrameWatch {
 public:
  explicit FrameWatch(const FarmJob& job) : job_(job) {
    for (const auto& chunk : job.chunks) missing_.insert(missing_.end(), chunk.begin(), chunk.end());
  }
  std::size_t Done() {
    missing_ = FramesMissing(job_, missing_);
    return job_.FrameCount() - missing_.size();
  }

 private:
  const FarmJob& job_;
  std::vector<std::int32_t> missing_;
};

void Watch(const FarmJob& job) {
  FrameWatch frames(job);
  const auto total = static_cast<std::int64_t>(job.FrameCount());
  auto progress = MakeProgress(ProgressKind::kFromTerminal);
  for (int silences = 0;;) {
    const auto done = static_cast<std::int64_t>(frames.Done());
    if (progress != nullptr) progress->Frame({0, done, total, 0, 0, {}});
    Pause();
    if (StopRequested()) throw stage::Interrupted();
    const Queue queue = AskQueue(job);
    silences = queue.answered ? 0 : silences + 1;
    if (queue.answered && queue.tasks.empty()) return;
    if (done == total && progress != nullptr) {
      progress.reset();
      PrintNote(
          fmt::format("every frame is there; the join checks them{}", job.film.empty() ? "" : ", then makes the film"));
    }
    if (silences < kMostSilences) continue;
    throw stage::WorkError(fmt::format("the queue no longer answers; the job may go on: orvandel farm status {}",
                                       ShellWord(job.folder.string())));
  }
}

}  // namespace

void SubmitFarm(FarmJob& job, const std::vector<std::int32_t>& chunks) {
  RemoveReports(job);
  job.arrayId.clear();
  job.joinId.clear();
  // Saved at each step: wherever this ends, status and resume know the job, and what of it is in the queue.
  try {
    SaveFarmJob(job);
    if (!chunks.empty()) {
      job.arrayId = Submit(ArrayOptions(job, chunks));
      SaveFarmJob(job);
    }
    job.joinId = Submit(JoinOptions(job, job.arrayId));
    SaveFarmJob(job);
  } catch (...) {
    if (!job.arrayId.empty() || !job.joinId.empty()) Cancel(job);
    throw;
  }
}

void CancelFarm(const FarmJob& job) {
  Cancel(job);
  for (int poll = 0; poll < kMostSilences; ++poll) {
    const Queue queue = AskQueue(job);
    if (queue.answered && queue.tasks.empty()) return;
    Pause();
    if (StopRequested()) throw stage::Interrupted();
  }
  throw stage::WorkError(fmt::format("jobs {} {} were cancelled but are still in the queue", job.arrayId, job.joinId));
}

void WaitForFarm(const FarmJob& job) {
  try {
    Watch(job);
  } catch (const stage::Interrupted&) {
    Cancel(job);
    PrintNote(
        fmt::format("cancelled; orvandel farm resume {} renders what is missing", ShellWord(job.folder.string())));
    throw;
  }
  const auto report = ReadReport(job);
  const std::string advice = fmt::format("orvandel farm resume {}", ShellWord(job.folder.string()));
  if (!report) {
    throw stage::WorkError(
        fmt::format("the join left no report; see {}/join.txt, then {}", job.LogFolder().string(), advice));
  }
  Print("{}", report->text);
  if (!report->ok) throw stage::WorkError(fmt::format("the render is incomplete; {} renders what is missing", advice));
}

}  // namespace orvandel::cli
