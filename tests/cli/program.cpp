#include "tests/cli/program.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <sstream>
#include <stdexcept>

namespace orvandel::cli {
namespace {

// In the child, after fork: only calls that are safe there.
[[noreturn]] void Execute(const std::vector<std::string>& arguments, const char* program = ORVANDEL_PROGRAM) {
  std::vector<char*> pointers{const_cast<char*>(program)};
  for (const std::string& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);
  execv(program, pointers.data());
  _exit(127);
}

int CodeOf(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status); }

}  // namespace

Program::Program(const std::vector<std::string>& arguments, const std::filesystem::path& outputFile,
                 const std::filesystem::path& errorFile, const std::filesystem::path& program) {
  process_ = fork();
  if (process_ < 0) throw std::runtime_error("fork");
  if (process_ > 0) return;
  const int input = open("/dev/null", O_RDONLY);
  const int output = open(outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  const int error = open(errorFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (dup2(input, STDIN_FILENO) < 0 || dup2(output, STDOUT_FILENO) < 0 || dup2(error, STDERR_FILENO) < 0) _exit(126);
  Execute(arguments, program.c_str());
}

Program::~Program() {
  if (process_ < 0) return;
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
}

void Program::Send(int signal) const { kill(process_, signal); }

std::vector<pid_t> Program::Children() const {
  const std::string id = std::to_string(process_);
  std::istringstream text(ReadFile("/proc/" + id + "/task/" + id + "/children"));
  std::vector<pid_t> children;
  for (pid_t child; text >> child;) children.push_back(child);
  return children;
}

int Program::Wait() {
  int status = 0;
  waitpid(process_, &status, 0);
  process_ = -1;
  return CodeOf(status);
}

Outcome RunProgram(const std::vector<std::string>& arguments, const std::filesystem::path& program) {
  const TempFolder folder;
  Outcome outcome;
  outcome.exitCode = Program(arguments, folder / "output", folder / "error", program).Wait();
  outcome.output = ReadFile(folder / "output");
  outcome.error = ReadFile(folder / "error");
  return outcome;
}

Outcome RunOnTerminal(const std::vector<std::string>& arguments) {
  int terminal = -1;
  const pid_t process = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (process < 0) throw std::runtime_error("forkpty");
  if (process == 0) Execute(arguments);
  Outcome outcome;
  char buffer[4096];
  for (ssize_t count; (count = read(terminal, buffer, sizeof buffer)) > 0;) {  // ends with EIO when the child is gone
    outcome.error.append(buffer, static_cast<std::size_t>(count));
  }
  close(terminal);
  int status = 0;
  waitpid(process, &status, 0);
  outcome.exitCode = CodeOf(status);
  return outcome;
}

bool WaitUntil(const std::function<bool()>& ready) {
  for (int round = 0; round < 12000; ++round) {  // a minute: the machine may be busy
    if (ready()) return true;
    usleep(5000);
  }
  return false;
}

bool EndsLikeAWholePicture(const std::filesystem::path& file) {
  return ReadFile(file).ends_with("IEND\xae\x42\x60\x82");
}

std::vector<std::string> NamesIn(const std::filesystem::path& folder) {
  std::vector<std::string> names = test::NamesIn(folder);
  std::erase_if(names, [](const std::string& name) { return name.ends_with(".scene"); });
  return names;
}

}  // namespace orvandel::cli
