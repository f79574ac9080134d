// What files under construction ask of the system; one body each.
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
// Of this process: the last that it does. (Elsewhere a signal's handler removes them, which may do no such thing.)
void RemoveUnfinished();
#endif
// Unless its writer is still at work.
void RemoveIfAbandoned(const std::filesystem::path& file, const WorkName& work);

}  // namespace orvandel::stage
