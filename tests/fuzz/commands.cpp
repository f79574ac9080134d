#include <gtest/gtest.h>

#include "tests/faults/walk.h"
#include "tests/faults/wild.h"
#include "tests/fuzz/targets.h"

namespace orvandel::fuzz {

void RunCommandsFrom(Bytes bytes) {
  test::Walk walk(test::Dice(bytes), &FilterMain, nullptr);
  walk.Run();
}

// Two renders, of which the second finds what the first has left behind.
void RenderWordsFrom(Bytes bytes) {
  static test::ValueHost host;
  test::Dice dice(bytes);
  host.TameAll();
  host.GoWild(dice);
  host.RenderAnew(host.WildTime(dice));
  host.RenderOn(static_cast<std::int32_t>(dice(9000)));
  host.TameAll();
}

}  // namespace orvandel::fuzz
