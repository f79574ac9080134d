#include "effect/sim/state_register.h"

#include <new>

#include "effect/base/heap_containers.h"

namespace orvandel {
namespace {

// A state is known by its address: its handle stays locked from set-up to set-down.
struct Entry {
  Entry* next;
  const SequenceState* state;
};

Entry* First() noexcept { return static_cast<Entry*>(heap::Root()); }

}  // namespace

bool IsRegistered(const SequenceState& state) noexcept {
  const Entry* entry = First();
  while (entry != nullptr && entry->state != &state) entry = entry->next;
  return entry != nullptr;
}

void Register(const SequenceState& state) {
  if (IsRegistered(state)) return;
  heap::Root() = ::new (HeapAllocateOrThrow(sizeof(Entry))) Entry{First(), &state};
}

void Unregister(const SequenceState& state) noexcept {
  Entry* before = nullptr;
  for (Entry* entry = First(); entry != nullptr; before = entry, entry = entry->next) {
    if (entry->state != &state) continue;
    if (before == nullptr) {
      heap::Root() = entry->next;
    } else {
      before->next = entry->next;
    }
    heap::Free(entry);
    return;
  }
}

}  // namespace orvandel
