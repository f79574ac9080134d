#include "cli/render/worker_process.h"

#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "cli/exit_codes.h"
#include "cli/interrupt.h"
#include "cli/render/rest_lane.h"
#include "stage/base/errors.h"

namespace orvandel::cli {
namespace {

using Kind = WorkerReport::Kind;
using Clock = WorkerProcess::Clock;

// --- In the worker.

double SecondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

bool SendReport(int socket, const WorkerReport& report) { return SendRecord(socket, &report, sizeof report); }

WorkerReport Plain(Kind kind, std::int32_t index) {
  WorkerReport report;
  report.kind = kind;
  report.index = index;
  return report;
}

void Spend(WorkerReport& report, Clock::time_point start) {
  report.seconds += SecondsSince(start);
  const stage::StageSeconds spent = stage::TakeStageSeconds();
  for (std::size_t i = 0; i < spent.size(); ++i) report.stages[i] += spent[i];
}

class Server {
 public:
  Server(FrameWork& work, const SharedSlots& slots, int socket) : work_(work), slots_(slots), socket_(socket) {}

  // Until there are no more orders, the parent is gone or a frame has failed. Throws what drawing threw.
  void ServeAll() {
    FrameOrder order;
    while (!failed_ && ReceiveRecord(socket_, &order, sizeof order)) {
      index_ = order.index;
      if (StopRequested()) throw stage::Interrupted();
      if (!SendReport(socket_, Plain(Kind::kStarted, order.index))) return;
      Serve(order);
    }
    index_ = -1;
    lane_.Wait();
    if (failed_) return;
    work_.Finish();
    SendReport(socket_, Plain(Kind::kEnded, -1));
  }
  // Of the order being worked on; -1: none.
  std::int32_t Index() const { return index_; }

 private:
  void Serve(const FrameOrder& order) {
    WorkerReport finished = Plain(Kind::kFinished, order.index);
    const auto start = Clock::now();
    auto rest = work_.Make(order.frame, slots_.Count() > 0 ? slots_.Slot(static_cast<std::size_t>(order.slot))
                                                           : std::span<std::uint8_t>());
    Spend(finished, start);
    for (const std::string& note : work_.TakeNotes()) SendReport(socket_, NoteReport(note));
    finished.waves = work_.WaveCount();
    finished.shown = work_.Shown();
    {
      const std::lock_guard lock(guard_);
      unreported_.emplace(order.index, std::nullopt);
    }
    if (work_.FinishesAlone()) lane_.Wait();
    if (!rest) return Report(finished);
    const auto own = lane_.Take([this, finished, rest] { Report(Finish(finished, rest)); });
    if (own) own();
  }

  static WorkerReport Finish(WorkerReport report, const std::function<void()>& rest) {
    try {
      const auto begun = Clock::now();
      rest();
      Spend(report, begun);
      return report;
    } catch (...) {
      return ReportOfFailure(report.index);
    }
  }

  // The parent counts on the order of frames: a report waits for those before it, and none follows a failure.
  void Report(const WorkerReport& report) {
    const std::lock_guard lock(guard_);
    unreported_[report.index] = report;
    for (auto next = unreported_.begin(); !failed_ && next != unreported_.end() && next->second;
         next = unreported_.erase(next)) {
      failed_ = next->second->kind == Kind::kFailed;
      SendReport(socket_, *next->second);
    }
  }

  FrameWork& work_;
  const SharedSlots& slots_;
  int socket_;
  std::int32_t index_ = -1;
  std::atomic<bool> failed_ = false;  // and told
  std::mutex guard_;
  std::map<std::int32_t, std::optional<WorkerReport>> unreported_;  // by index; empty: not finished
  RestLane lane_;
};

void ServeAll(const std::function<std::unique_ptr<FrameWork>()>& makeWork, const SharedSlots& slots, int socket) {
  std::int32_t index = -1;
  try {
    const std::unique_ptr<FrameWork> work = makeWork();
    Server server(*work, slots, socket);
    try {
      server.ServeAll();
    } catch (...) {
      index = server.Index();
      throw;
    }
  } catch (...) {
    SendReport(socket, ReportOfFailure(index));
  }
}

// A worker must not outlive the parent, however that ends.
[[noreturn]] void RunWorker(pid_t parent, int socket, const SharedSlots& slots,
                            const std::function<std::unique_ptr<FrameWork>()>& makeWork) {
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != parent) _exit(kFailed);
  LeaveInterruptsToParent();
  ServeAll(makeWork, slots, socket);
  _exit(kDone);
}

// --- In the parent.

constexpr auto kTimeToStop = std::chrono::seconds(5);

// Signals wait while a process is forked, so that none is taken by the child with the parent's state.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : kStopSignals) sigaddset(&set, signal);
    sigprocmask(SIG_BLOCK, &set, &before_);
  }
  ~SignalsHeld() { Release(); }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;
  void Release() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

}  // namespace

WorkerProcess::WorkerProcess(const SharedSlots& slots, const std::function<std::unique_ptr<FrameWork>()>& makeWork) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
    throw stage::WorkError(fmt::format("no connection to a render process: {}", std::strerror(errno)));
  }
  const pid_t parent = getpid();
  SignalsHeld held;
  process_ = fork();
  if (process_ == 0) {
    close(ends[0]);
    held.Release();
    RunWorker(parent, ends[1], slots, makeWork);
  }
  close(ends[1]);
  socket_ = ends[0];
  if (process_ > 0) return;
  const int reason = errno;
  close(socket_);
  throw stage::WorkError(fmt::format("no render process can be started: {}", std::strerror(reason)));
}

WorkerProcess::~WorkerProcess() {
  Stop();
  Await();
}

void WorkerProcess::Send(const FrameOrder& order) {
  orders_.push_back(order);
  SendRecord(socket_, &order, sizeof order);  // a worker that is gone shows when its socket is read
}

void WorkerProcess::OrderStarted() {
  if (started_++ == 0) since_ = Clock::now();
}

FrameOrder WorkerProcess::OrderFinished() {
  const FrameOrder order = orders_.front();
  orders_.pop_front();
  --started_;
  since_ = Clock::now();
  return order;
}

double WorkerProcess::SecondsInFrame() const { return started_ > 0 ? SecondsSince(since_) : 0; }

void WorkerProcess::NoMoreOrders() { shutdown(socket_, SHUT_WR); }

void WorkerProcess::Stop() {
  if (process_ < 0 || socket_ < 0) return;
  if (!ended_) kill(process_, SIGTERM);
  close(socket_);
  socket_ = -1;
}

void WorkerProcess::CloseInChild() {
  if (socket_ >= 0) close(socket_);
  socket_ = -1;
}

void WorkerProcess::Await() {
  if (process_ < 0) return;
  const auto limit = Clock::now() + kTimeToStop;
  while (waitpid(process_, &status_, WNOHANG) == 0) {
    if (Clock::now() > limit) kill(process_, SIGKILL);
    usleep(2000);
  }
  process_ = -1;
}

std::string WorkerProcess::Death() {
  Await();
  if (WIFSIGNALED(status_)) {
    return fmt::format("was ended by signal {} ({})", WTERMSIG(status_), strsignal(WTERMSIG(status_)));
  }
  return fmt::format("ended with code {}", WEXITSTATUS(status_));
}

}  // namespace orvandel::cli
