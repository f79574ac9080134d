#include "cli/interrupt.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>

#include "cli/exit_codes.h"

namespace orvandel::cli {
namespace {

// A scheduler signals all processes of a job, and a script among them hands the signal on: signals that close upon each
// other are one wish to stop. A worker's parent hands it on as well, when it has noticed.
constexpr std::int64_t kOneWishOfAPerson = 200, kOneWishOfAParent = 5000;

// The handler may touch nothing but lock-free atomics and memory that was complete before `unfinishedSet` became true.
std::atomic<int> signalsSeen{0};
std::atomic<std::int64_t> firstSignalAt{0}, oneWish{kOneWishOfAPerson};  // milliseconds
std::atomic<bool> unfinishedSet{false};
std::array<char, 4096> unfinishedName{};  // PATH_MAX; a longer name could not have been opened
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<std::int64_t>::is_always_lock_free &&
              std::atomic<bool>::is_always_lock_free);

std::int64_t Milliseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);  // may be called in a handler
  return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

void OnSignal(int) {
  if (signalsSeen.load() == 0) firstSignalAt = Milliseconds();
  if (signalsSeen.fetch_add(1) == 0 || Milliseconds() - firstSignalAt.load() < oneWish.load()) return;
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
  oneWish = kOneWishOfAParent;
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
