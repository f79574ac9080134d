// The commands of Slurm that a farm needs.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "cli/farm/farm_job.h"

namespace orvandel::cli {

// InputError that says what to do without it.
void RequireSlurm();

// The words after "sbatch".
Words ArrayOptions(const FarmJob& job, const std::vector<std::int32_t>& chunks);
Words JoinOptions(const FarmJob& job, const std::string& arrayId);  // empty id: it waits for nothing

// The new job's number. WorkError with what sbatch said.
std::string Submit(const Words& options);

struct QueuedTask {
  std::string job;          // its number
  std::int32_t chunk = -1;  // -1: it is no task of an array
  std::string state, reason, node;
  bool IsPending() const { return state == "PENDING"; }
};
struct Queue {
  bool answered = false;
  std::vector<QueuedTask> tasks;  // waiting, running or about to end
};
// This farm's share of the queue.
Queue AskQueue(const FarmJob& job);

void Cancel(const FarmJob& job);

}  // namespace orvandel::cli
