#include "cli/console.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "stage/base/errors.h"

namespace orvandel::cli {
namespace {

[[noreturn]] void FailToWrite(int reason) {
  throw stage::WorkError(fmt::format("standard output cannot be written: {}", std::strerror(reason)));
}

}  // namespace

void OccupyClosedDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
    // The lowest free number is the one that is missing. Opened the wrong way round: reading or writing it fails.
    open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

bool OutputIsOpen() {
  const int flags = fcntl(STDOUT_FILENO, F_GETFL);
  return flags != -1 && (flags & O_ACCMODE) != O_RDONLY;
}

void WriteOutput(std::string_view text) {
  errno = 0;
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) FailToWrite(errno);
}

void FlushOutput() {
  errno = 0;
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) FailToWrite(errno);
}

void Tell(std::string_view text) noexcept {
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

bool TellsTerminal() { return isatty(STDERR_FILENO) == 1; }

}  // namespace orvandel::cli
