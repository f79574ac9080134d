// Other programs, started and awaited.
#pragma once

#include <string>
#include <vector>

namespace orvandel::cli {

enum class ChildOutput {
  kShown,   // both streams go where this program's go
  kOutput,  // standard output is returned
  kErrors,  // standard error is returned, standard output dropped
};

struct ChildResult {
  int exitCode = -1;       // 128 + the signal's number when one ended it, 127 when it did not start, as shells say
  std::string text;        // what was to be returned
  std::string startFault;  // why it did not start; empty: it did
};

// The first word is looked for in PATH. A request to stop is passed on once (SIGTERM); the child is awaited all the
// same.
ChildResult RunChild(const std::vector<std::string>& words, ChildOutput output);

// For messages: "sbatch ended with exit code 1", "sbatch cannot be started: Permission denied".
std::string EndText(const std::string& program, const ChildResult& result);

// Whether PATH has such a program.
bool IsInPath(const std::string& program);

}  // namespace orvandel::cli
