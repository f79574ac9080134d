#include "plugins/openfx/kept_frames.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "stage/base/errors.h"

namespace orvandel::ofx {

// Never destroyed: actions come from a host's own last destructors.
KeptFrames& KeptFrames::The() {
  static auto* const frames = new KeptFrames;
  return *frames;
}

KeptFrames::Place KeptFrames::Find(const FrameKey& key) {
  return std::find_if(entries_.begin(), entries_.end(), [&](const auto& entry) { return entry->key == key; });
}

void KeptFrames::Forget(const std::shared_ptr<Entry>& entry) {
  const std::lock_guard lock(guard_);
  entries_.remove(entry);
  done_.notify_all();
}

FramePtr KeptFrames::Get(const FrameKey& key, const std::function<Frame()>& make,
                         const std::function<bool()>& shouldStop) {
  std::unique_lock lock(guard_);
  for (Place found = Find(key); found != entries_.end(); found = Find(key)) {
    entries_.splice(entries_.begin(), entries_, found);
    if ((*found)->picture != nullptr) return (*found)->picture;
    done_.wait_for(lock, std::chrono::milliseconds(5));
    lock.unlock();
    if (shouldStop()) throw stage::Interrupted();
    lock.lock();
  }
  const auto entry = std::make_shared<Entry>(Entry{key, nullptr});
  entries_.push_front(entry);
  lock.unlock();

  FramePtr picture;
  try {
    picture = std::make_shared<const Frame>(make());
  } catch (...) {
    Forget(entry);
    throw;
  }
  lock.lock();
  entry->picture = picture;
  DropOldest();
  done_.notify_all();
  return picture;
}

// Frames in the making stay.
void KeptFrames::DropOldest() {
  std::size_t count = 0, bytes = 0;
  entries_.remove_if([&](const auto& entry) {
    if (entry->picture == nullptr) return false;
    bytes += entry->picture->bytes.size();
    return ++count > kMost || (count > kFewest && bytes > kMostBytes);
  });
}

void KeptFrames::Clear() {
  const std::lock_guard lock(guard_);
  entries_.remove_if([](const auto& entry) { return entry->picture != nullptr; });
}

}  // namespace orvandel::ofx
