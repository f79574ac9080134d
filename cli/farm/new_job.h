// A farm's job from what a person asks for.
#pragma once

#include <string>
#include <vector>

#include "cli/farm/farm_job.h"
#include "cli/requests.h"

namespace orvandel::cli {

struct NewJob {
  FarmJob job;
  std::vector<std::string> notes;
  bool replacesFrames = false;  // those in the job's own folder, which are of another scene, are to be removed first
};

// Refuses all that its renders would refuse, and writes nothing but temporary files. InputError, WorkError.
NewJob MakeFarmJob(const FarmRequest& request);

}  // namespace orvandel::cli
