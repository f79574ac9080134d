// Runs the built program as a person would: arguments in, exit code and texts out.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/temp_folder.h"

namespace orvandel::cli {

using test::ReadFile;
using test::TempFolder;
using test::WriteFile;

struct Outcome {
  int exitCode = -1;  // minus the signal's number when one ended the program
  std::string output, error;
};

// A running program. Its texts go to files in a folder of its own.
class Program {
 public:
  Program(const std::vector<std::string>& arguments, const std::filesystem::path& outputFile,
          const std::filesystem::path& errorFile, const std::filesystem::path& program = ORVANDEL_PROGRAM);
  ~Program();  // kills it when nobody waited
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  void Send(int signal) const;
  pid_t Process() const { return process_; }
  std::vector<pid_t> Children() const;
  int Wait();  // the exit code, as in Outcome

 private:
  pid_t process_ = -1;
};

Outcome RunProgram(const std::vector<std::string>& arguments, const std::filesystem::path& program = ORVANDEL_PROGRAM);
// The same with the program's standard error on a terminal; `error` holds what the terminal received.
Outcome RunOnTerminal(const std::vector<std::string>& arguments);

// Calls `ready` until it is true, for at most 20 s.
bool WaitUntil(const std::function<bool()>& ready);

// Whether the bytes are those of a PNG file to its end.
bool EndsLikeAWholePicture(const std::filesystem::path& file);

// Names in a folder, sorted, but for what numbered pictures were rendered from; none when there is no such folder.
std::vector<std::string> NamesIn(const std::filesystem::path& folder);

}  // namespace orvandel::cli
