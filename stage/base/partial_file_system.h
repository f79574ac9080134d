// The part of PartialFile that depends on the system; one implementation for each.
#pragma once

#include <filesystem>
#include <string>

namespace orvandel::stage {

struct WorkName {
  std::string stem, machine;
  int process = 0;
};

const std::string& MachineName();  // letters, digits and hyphens
int ThisProcess();
#if defined(_WIN32)
// Those of this process, as the last thing it does: no PartialFile may be used afterwards. (Elsewhere a signal handler
// removes them, which may not take locks.)
void RemoveUnfinished();
#endif
// Unless its writer is still at work.
void RemoveIfAbandoned(const std::filesystem::path& file, const WorkName& work);

}  // namespace orvandel::stage
