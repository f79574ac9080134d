// Frames that have been rendered, kept for those who ask for another part of one, or at the same time. The process's
// instances share them, so that a hundred of them take no more memory than one.
//
// Any thread may ask. One that asks for a frame which another thread is making waits for it; different frames are made
// at the same time.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "plugins/openfx/geometry.h"

namespace orvandel::ofx {

// All that a frame's pixels depend on, pictures apart.
struct FrameKey {
  FrameGrid grid;
  bool draft = false;
  std::vector<double> values;  // of the parameters over time, and the time
  std::string text;            // and of those that are texts

  bool operator==(const FrameKey&) const = default;
};

// From the top row: red, green, blue, alpha, colour not multiplied by alpha.
struct Frame {
  std::int32_t width = 0, height = 0;
  std::vector<std::uint8_t> bytes;

  Frame(std::int32_t w, std::int32_t h)
      : width(w), height(h), bytes(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4) {}
};
using FramePtr = std::shared_ptr<const Frame>;

class KeptFrames {
 public:
  static KeptFrames& The();

  // `make` is called outside any lock, once for all threads that wait; what it throws is thrown to the thread that
  // called it, and the next one tries again. `shouldStop` is asked while waiting: Interrupted.
  FramePtr Get(const FrameKey& key, const std::function<Frame()>& make, const std::function<bool()>& shouldStop);
  void Clear();

 private:
  struct Entry {
    FrameKey key;
    FramePtr picture;  // null: in the making
  };
  // Two of any size, else as many as fit: fields of a frame, and tiles of several frames in turns.
  static constexpr std::size_t kFewest = 2, kMost = 64, kMostBytes = std::size_t{192} << 20;

  using Place = std::list<std::shared_ptr<Entry>>::iterator;
  Place Find(const FrameKey& key);
  void Forget(const std::shared_ptr<Entry>& entry);
  void DropOldest();

  std::mutex guard_;
  std::condition_variable done_;
  std::list<std::shared_ptr<Entry>> entries_;  // the most recently asked for first
};

// Which frames of a clip were found to be needed for the last key: some hosts ask several times for every render.
class KeptTimes {
 public:
  std::optional<std::vector<double>> Find(const FrameKey& key) const {
    const std::lock_guard lock(guard_);
    return key_ == key ? std::optional(times_) : std::nullopt;
  }
  void Keep(const FrameKey& key, std::vector<double> times) {
    const std::lock_guard lock(guard_);
    key_ = key;
    times_ = std::move(times);
  }

 private:
  mutable std::mutex guard_;
  std::optional<FrameKey> key_;
  std::vector<double> times_;
};

}  // namespace orvandel::ofx
