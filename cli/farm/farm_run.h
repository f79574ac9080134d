// A farm's render on its way: submitted, watched, cancelled.
#pragma once

#include <cstdint>
#include <vector>

#include "cli/farm/farm_job.h"

namespace orvandel::cli {

// These chunks, and the join after them; without chunks, the join alone. Notes their numbers in the job's file.
// WorkError; then nothing stays in the queue.
void SubmitFarm(FarmJob& job, const std::vector<std::int32_t>& chunks);

// Shows how many frames are there until the queue holds nothing of the job, then prints its report. Cancels it when the
// person asks to stop: Interrupted. WorkError when frames or the film are missing in the end.
void WaitForFarm(const FarmJob& job);

// Cancels what the queue holds of the job, and waits until it is gone. WorkError when Slurm does not answer.
void CancelFarm(const FarmJob& job);

}  // namespace orvandel::cli
