// One worker as the parent sees it: its process, its socket, what it has been asked for.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "cli/render/shared_slots.h"
#include "cli/render/worker_messages.h"
#include "cli/render/worker_pool.h"

namespace orvandel::cli {

class WorkerProcess {
 public:
  using Clock = std::chrono::steady_clock;

  // Forks; the new process serves orders until its socket ends, and never returns. Throws WorkError.
  WorkerProcess(const SharedSlots& slots, const std::function<std::unique_ptr<FrameWork>()>& makeWork);
  ~WorkerProcess();  // Stop, then Await
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;

  int Socket() const { return socket_; }
  const std::deque<FrameOrder>& Orders() const { return orders_; }  // not finished yet, those being made first
  std::size_t StartedOrders() const { return started_; }
  void Send(const FrameOrder& order);
  void OrderStarted();
  FrameOrder OrderFinished();
  // Seconds since the first order was begun or the one before it was finished; 0 when none is being made.
  double SecondsInFrame() const;

  // No more orders: the worker ends when it has done what it was asked for.
  void NoMoreOrders();
  bool Ended() const { return ended_; }
  void SetEnded() { ended_ = true; }
  // Asks the process to stop at once, which it does between two steps of a frame. Again: nothing more.
  void Stop();
  // In a worker forked later: closes the inherited socket, which would otherwise stay open after the parent's end.
  void CloseInChild();
  // How a process ended that did not report its end: "was ended by signal 9 (Killed)".
  std::string Death();

 private:
  void Await();

  pid_t process_ = -1;
  int socket_ = -1;
  int status_ = 0;
  std::deque<FrameOrder> orders_;
  Clock::time_point since_{};
  std::size_t started_ = 0;
  bool ended_ = false;  // reported by the worker
};

}  // namespace orvandel::cli
