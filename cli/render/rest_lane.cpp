#include "cli/render/rest_lane.h"

#include <system_error>
#include <utility>

namespace orvandel::cli {

RestLane::~RestLane() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(guard_);
    ending_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

std::function<void()> RestLane::Take(std::function<void()> rest) {
  if (!thread_.joinable()) {
    try {
      thread_ = std::thread([this] { Work(); });
    } catch (const std::system_error&) {
      return rest;
    }
  }
  const std::lock_guard lock(guard_);
  std::swap(rest_ ? waiting_ : rest_, rest);
  changed_.notify_all();
  return rest;
}

void RestLane::Wait() {
  std::unique_lock lock(guard_);
  changed_.wait(lock, [&] { return !rest_; });
}

void RestLane::Work() {
  std::unique_lock lock(guard_);
  for (;;) {
    changed_.wait(lock, [&] { return rest_ || ending_; });
    if (!rest_) return;
    lock.unlock();
    rest_();
    lock.lock();
    rest_ = std::exchange(waiting_, nullptr);
    changed_.notify_all();
  }
}

}  // namespace orvandel::cli
