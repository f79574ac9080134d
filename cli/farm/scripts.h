// The shell scripts that a farm runs. They hold all that they need, in full, so that they can be read, changed, and run
// by Slurm, GNU parallel, another queue or by hand.
#pragma once

#include <string>
#include <vector>

#include "cli/farm/farm_job.h"

namespace orvandel::cli {

std::string ChunkScriptText(const FarmJob& job);
std::string JoinScriptText(const FarmJob& job);
// A line for chunk.sh to find its frames by number.
std::string ChunkListText(const FarmJob& job);

// Into the job's folder. WorkError.
void WriteScripts(const FarmJob& job);

// A line for people, that renders these chunks with GNU parallel and joins them.
std::string ParallelLine(const FarmJob& job, const std::vector<std::int32_t>& chunks);

}  // namespace orvandel::cli
