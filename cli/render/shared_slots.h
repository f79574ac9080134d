// Memory that a process shares with the children it forks, cut into equal slots.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orvandel::cli {

class SharedSlots {
 public:
  // At most `count` slots, fewer when they are large, at least one. None for a size of 0. Throws WorkError.
  SharedSlots(std::size_t slotBytes, std::size_t count);
  ~SharedSlots();
  SharedSlots(const SharedSlots&) = delete;
  SharedSlots& operator=(const SharedSlots&) = delete;

  std::size_t Count() const { return count_; }
  std::span<std::uint8_t> Slot(std::size_t index) const { return {memory_ + index * slotBytes_, slotBytes_}; }

 private:
  std::size_t slotBytes_ = 0, count_ = 0;
  std::uint8_t* memory_ = nullptr;
};

}  // namespace orvandel::cli
