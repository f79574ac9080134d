// A small cache: the last few objects of a kind by what they are made of, made once and shared.
#pragma once

#include <list>
#include <memory>
#include <mutex>
#include <utility>

namespace orvandel::ofx {

template <typename Key, typename Kept, std::size_t kMost>
class Shelf {
 public:
  template <typename Make>
  std::shared_ptr<const Kept> Get(const Key& key, const Make& make) {
    const std::lock_guard lock(guard_);
    for (auto at = kept_.begin(); at != kept_.end(); ++at) {
      if (at->first != key) continue;
      kept_.splice(kept_.begin(), kept_, at);
      return kept_.front().second;
    }
    kept_.emplace_front(key, make());
    if (kept_.size() > kMost) kept_.pop_back();
    return kept_.front().second;
  }
  void Clear() {
    const std::lock_guard lock(guard_);
    kept_.clear();
  }

 private:
  std::mutex guard_;
  std::list<std::pair<Key, std::shared_ptr<const Kept>>> kept_;  // the most recently asked for first
};

}  // namespace orvandel::ofx
