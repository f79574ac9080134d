#include "cli/render/shared_slots.h"

#include <sys/mman.h>

#include <algorithm>

#include "stage/base/errors.h"

namespace orvandel::cli {
namespace {

// More would not make a render faster, but a few dozen workers on a large picture would take the machine's memory.
constexpr std::size_t kMostBytes = std::size_t{1} << 30;

}  // namespace

SharedSlots::SharedSlots(std::size_t slotBytes, std::size_t count) : slotBytes_(slotBytes) {
  if (slotBytes == 0) return;
  count_ = std::clamp<std::size_t>(kMostBytes / slotBytes, 1, count);
  void* memory = mmap(nullptr, slotBytes_ * count_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw stage::WorkError("not enough memory for the pictures of this render");
  memory_ = static_cast<std::uint8_t*>(memory);
}

SharedSlots::~SharedSlots() {
  if (memory_ != nullptr) munmap(memory_, slotBytes_ * count_);
}

}  // namespace orvandel::cli
