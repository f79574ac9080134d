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
  int exitCode = -1;  // 128 + the signal's number when one ended it, as shells say; 127: it could not be started
  std::string text;   // what was to be returned
};

// The first word is looked for in PATH. A request to stop is passed on once (SIGTERM); the child is awaited all the
// same.
ChildResult RunChild(const std::vector<std::string>& words, ChildOutput output);

// Whether PATH has such a program.
bool IsInPath(const std::string& program);

}  // namespace orvandel::cli
