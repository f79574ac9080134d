// A thread that finishes frames, one after another, while the next one is drawn.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace orvandel::cli {

class RestLane {
 public:
  RestLane() = default;
  ~RestLane();  // what was handed over is done first
  RestLane(const RestLane&) = delete;
  RestLane& operator=(const RestLane&) = delete;

  // Returns what the caller should do itself, empty: nothing. That is the task that waits, when one is being done and
  // one waits: so both threads have work, whichever of drawing and finishing takes longer. Where the system has no
  // thread left it is the task itself.
  std::function<void()> Take(std::function<void()> rest);
  void Wait();

 private:
  void Work();

  std::mutex guard_;
  std::condition_variable changed_;
  std::function<void()> rest_, waiting_;  // empty: nothing to do
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace orvandel::cli
