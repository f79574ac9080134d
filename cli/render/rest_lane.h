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

  // False while what was handed over before is not done, and where the system has no thread left: the caller is as
  // good at it.
  bool Take(const std::function<void()>& rest);
  void Wait();

 private:
  void Work();

  std::mutex guard_;
  std::condition_variable changed_;
  std::function<void()> rest_;  // empty: nothing to do
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace orvandel::cli
