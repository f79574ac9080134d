#include "cli/farm/child_process.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "cli/interrupt.h"

extern char** environ;

namespace orvandel::cli {
namespace {

constexpr int kPollMilliseconds = 20;

class Pipe {
 public:
  Pipe() {
    if (pipe2(ends_, O_CLOEXEC) != 0) ends_[0] = ends_[1] = -1;
  }
  ~Pipe() {
    CloseWriteEnd();
    if (ends_[0] >= 0) close(ends_[0]);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int WriteEnd() const { return ends_[1]; }
  void CloseWriteEnd() {
    if (ends_[1] >= 0) close(ends_[1]);
    ends_[1] = -1;
  }
  // What is there after at most `milliseconds`; false when nothing came.
  bool ReadSome(std::string& text, int milliseconds) const {
    pollfd watched{ends_[0], POLLIN, 0};
    if (poll(&watched, 1, milliseconds) <= 0) return false;
    char block[4096];
    const ssize_t count = read(ends_[0], block, sizeof block);
    if (count > 0) text.append(block, static_cast<std::size_t>(count));
    return count > 0;
  }

 private:
  int ends_[2];
};

// Zero: started.
int Spawn(pid_t& process, const std::vector<std::string>& words, ChildOutput output, int writeEnd) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (const std::string& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  if (output == ChildOutput::kOutput) posix_spawn_file_actions_adddup2(&actions, writeEnd, STDOUT_FILENO);
  if (output == ChildOutput::kErrors) {
    posix_spawn_file_actions_adddup2(&actions, writeEnd, STDERR_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  }
  const int error = posix_spawnp(&process, pointers.front(), &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

}  // namespace

ChildResult RunChild(const std::vector<std::string>& words, ChildOutput output) {
  ChildResult result;
  Pipe pipe;
  pid_t process = -1;
  if (const int error = Spawn(process, words, output, pipe.WriteEnd()); error != 0) {
    return {127, {}, std::strerror(error)};
  }
  pipe.CloseWriteEnd();
  bool stopped = false;
  int status = 0;
  while (waitpid(process, &status, WNOHANG) == 0) {
    if (output == ChildOutput::kShown || !pipe.ReadSome(result.text, kPollMilliseconds)) {
      usleep(kPollMilliseconds * 1000);
    }
    if (!StopRequested() || stopped) continue;
    stopped = true;
    kill(process, SIGTERM);
  }
  while (output != ChildOutput::kShown && pipe.ReadSome(result.text, 0)) {
    // What it wrote last.
  }
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

std::string EndText(const std::string& program, const ChildResult& result) {
  if (!result.startFault.empty()) return fmt::format("{} cannot be started: {}", program, result.startFault);
  return fmt::format("{} ended with exit code {}", program, result.exitCode);
}

bool IsInPath(const std::string& program) {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path == nullptr ? "" : path);
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (access((std::filesystem::path(folder) / program).c_str(), X_OK) == 0) return true;
  }
  return false;
}

}  // namespace orvandel::cli
