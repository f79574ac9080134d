// Cuts one block of memory into arrays that begin on cache lines.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvandel::fast {

// Used twice with the same calls: without a block, to learn how many bytes they take, and with one. Nothing is cleared.
class Arena {
 public:
  static constexpr std::size_t kLine = 64;

  Arena() = default;
  // `block` begins on a cache line, as those of AlignUp do.
  explicit Arena(std::byte* block) : base_(block) {}

  static std::byte* AlignUp(std::byte* address) {
    const auto rest = reinterpret_cast<std::uintptr_t>(address) % kLine;
    return rest == 0 ? address : address + (kLine - rest);
  }

  std::size_t Used() const { return used_; }

  template <typename T>
  void Cut(T*& array, std::size_t count) {
    if (base_ != nullptr) array = reinterpret_cast<T*>(base_ + used_);
    used_ += (count * sizeof(T) + kLine - 1) / kLine * kLine;
  }

  // With room for entry -1 and for a whole vector behind the last entry.
  template <typename T>
  void CutPadded(T*& array, std::size_t count) {
    constexpr std::size_t kRoom = kLine / sizeof(T);
    Cut(array, count + 3 * kRoom);
    if (base_ != nullptr) array += kRoom;
  }

 private:
  std::byte* base_ = nullptr;
  std::size_t used_ = 0;
};

}  // namespace orvandel::fast
