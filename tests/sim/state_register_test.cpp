// The register of states: a set, on the heap, that goes with it.
#include "effect/sim/state_register.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <set>

#include "effect/heap/heap.h"

namespace orvandel::test {
namespace {

TEST(StateRegister, HoldsWhatWasEnteredInAnyOrderAndLeavesNothing) {
  std::array<SequenceState, 6> states{};
  std::set<const SequenceState*> entered;
  const std::uint64_t before = heap::BytesInUse();
  Register(states[0]);
  const std::uint64_t entryBytes = heap::BytesInUse() - before;
  Unregister(states[0]);
  std::mt19937 random(41);
  for (int i = 0; i < 3000; ++i) {
    const SequenceState& state = states[random() % states.size()];
    if (random() % 2 == 0) {
      Register(state);
      entered.insert(&state);
    } else {
      Unregister(state);
      entered.erase(&state);
    }
    for (const SequenceState& each : states) ASSERT_EQ(IsRegistered(each), entered.contains(&each)) << "step " << i;
    ASSERT_EQ(heap::BytesInUse(), before + entered.size() * entryBytes) << "step " << i;
  }
  Register(states[0]);
  heap::ReleaseAll();
  for (const SequenceState& each : states) EXPECT_FALSE(IsRegistered(each));
}

}  // namespace
}  // namespace orvandel::test
