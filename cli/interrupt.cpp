#include "cli/interrupt.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstring>

#include "cli/exit_codes.h"

namespace orvandel::cli {
namespace {

// The handler may touch nothing but lock-free atomics and memory that was complete before `unfinishedSet` became true.
std::atomic<int> signalsSeen{0}, signalsToEnd{2};
std::atomic<bool> unfinishedSet{false};
std::array<char, 4096> unfinishedName{};  // PATH_MAX; a longer name could not have been opened
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

void OnSignal(int) {
  if (signalsSeen.fetch_add(1) + 1 < signalsToEnd.load()) return;
  if (unfinishedSet.load()) unlink(unfinishedName.data());
  _exit(kInterrupted);
}

}  // namespace

void CatchInterrupts() {
  struct sigaction action {};
  action.sa_handler = OnSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;  // a write in progress is completed, not failed
  for (const int signal : kStopSignals) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);  // nohup, or a shell's background job
  }
  std::signal(SIGCHLD, SIG_DFL);  // if it is ignored, the system keeps no exit codes of children
  std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is an error like a full disk
}

void LeaveInterruptsToParent() {
  signalsSeen = 0;
  signalsToEnd = 3;
  unfinishedSet = false;
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGHUP, SIG_IGN);
}

bool StopRequested() { return signalsSeen.load(std::memory_order_relaxed) != 0; }

UnfinishedFile::UnfinishedFile(const std::filesystem::path& file) {
  const std::string name = file.string();
  if (name.size() >= unfinishedName.size()) return;
  std::memcpy(unfinishedName.data(), name.c_str(), name.size() + 1);
  unfinishedSet = true;
}

UnfinishedFile::~UnfinishedFile() { unfinishedSet = false; }

}  // namespace orvandel::cli
