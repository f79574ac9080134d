#include <gtest/gtest.h>

#include <algorithm>

#include "effect/params/param_ids.h"
#include "tests/faults/walk.h"
#include "tests/faults/wild.h"
#include "tests/fuzz/targets.h"

namespace orvandel::fuzz {
namespace {

// One in a process: it counts the effect's memory.
test::ValueHost& TheHost() {
  static test::ValueHost host;
  return host;
}

}  // namespace

void RunCommandsFrom(Bytes bytes) {
  test::Walk walk(test::Dice(bytes), &FilterMain, nullptr);
  walk.Run();
}

// Two renders, of which the second finds what the first has left behind.
void RenderWordsFrom(Bytes bytes) {
  test::ValueHost& host = TheHost();
  test::Dice dice(bytes);
  host.TameAll();
  host.GoWild(dice);
  host.RenderAnew(host.WildTime(dice));
  host.RenderOn(static_cast<std::int32_t>(dice(9000)));
  host.TameAll();
}

// States that a host gives back altered: here and there, cut short, or all but what they are for. Whatever waves they
// turn to, they are refused or drawn, and go on from there.
void ResumeFrom(Bytes bytes) {
  constexpr std::size_t kTerms = 64;  // a state for another size or quality is passed over unread
  test::ValueHost& host = TheHost();
  test::Dice dice(bytes);
  host.TameAll();
  host.changeStamp = 1;
  host.keepsResumePoints = true;
  host.timeScale = 30000;  // wild renders before may have left any
  host.SetWord(kWaveType, static_cast<std::int32_t>(1 + dice(3)));
  host.SetWord(kCurveSize, static_cast<std::int32_t>(dice(2)) << 16);
  const auto at = [&host](std::int32_t tick) { return tick * host.timeScale / 30; };
  host.RenderAnew(at(200));
  for (auto& [tick, state] : host.resumePoints[host.in.sequenceData]) {
    if (dice(8) == 0) state.resize(dice(static_cast<std::uint32_t>(state.size()) + 1));
    for (std::uint32_t changes = dice(6); changes > 0 && state.size() > kTerms; --changes) {
      const std::size_t first = kTerms + dice(static_cast<std::uint32_t>(state.size() - kTerms));
      for (std::size_t i = first; i < std::min(first + 4, state.size()); ++i) {
        state[i] = static_cast<std::uint8_t>(dice(256));
      }
    }
  }
  host.RenderOn(at(195));
  host.RenderOn(at(151));
  host.RenderOn(at(158));
  host.TameAll();
  host.changeStamp = 0;
  host.keepsResumePoints = false;
}

}  // namespace orvandel::fuzz
