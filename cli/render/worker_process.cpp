#include "cli/render/worker_process.h"

#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>

#include "cli/exit_codes.h"
#include "cli/interrupt.h"
#include "stage/base/errors.h"

namespace orvandel::cli {
namespace {

using Kind = WorkerReport::Kind;
using Clock = WorkerProcess::Clock;

// --- In the worker.

double SecondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

bool SendReport(int socket, const WorkerReport& report) { return SendRecord(socket, &report, sizeof report); }

WorkerReport Plain(Kind kind, std::int32_t index, double seconds = 0) {
  WorkerReport report;
  report.kind = kind;
  report.index = index;
  report.seconds = seconds;
  return report;
}

// False once the parent is gone.
bool Serve(FrameWork& work, const FrameOrder& order, const SharedSlots& slots, int socket) {
  if (StopRequested()) throw stage::Interrupted();
  if (!SendReport(socket, Plain(Kind::kStarted, order.index))) return false;
  const auto start = Clock::now();
  work.Make(order.frame,
            slots.Count() > 0 ? slots.Slot(static_cast<std::size_t>(order.slot)) : std::span<std::uint8_t>());
  WorkerReport finished = Plain(Kind::kFinished, order.index, SecondsSince(start));
  finished.waves = work.WaveCount();
  finished.shown = work.Shown();
  return SendReport(socket, finished);
}

void ServeAll(const std::function<std::unique_ptr<FrameWork>()>& makeWork, const SharedSlots& slots, int socket) {
  std::int32_t index = -1;
  try {
    const std::unique_ptr<FrameWork> work = makeWork();
    for (FrameOrder order; ReceiveRecord(socket, &order, sizeof order);) {
      index = order.index;
      if (!Serve(*work, order, slots, socket)) return;
    }
    index = -1;
    work->Finish();
    SendReport(socket, Plain(Kind::kEnded, -1));
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
  startedAt_ = Clock::now();
  started_ = true;
}

FrameOrder WorkerProcess::OrderFinished() {
  const FrameOrder order = orders_.front();
  orders_.pop_front();
  started_ = false;
  return order;
}

double WorkerProcess::SecondsInFrame() const { return started_ ? SecondsSince(startedAt_) : 0; }

void WorkerProcess::NoMoreOrders() { shutdown(socket_, SHUT_WR); }

void WorkerProcess::Stop() {
  if (process_ < 0) return;
  if (!ended_) kill(process_, SIGTERM);
  if (socket_ >= 0) close(socket_);
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
