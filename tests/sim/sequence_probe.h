// Looks into the sequence state behind a fake host's handle.
#pragma once

#include <cstring>
#include <vector>

#include "effect/sim/sequence_state.h"
#include "tests/support/fake_host.h"

namespace orvandel::test {

inline SequenceState& StateOf(FakeHost& host) { return *static_cast<SequenceState*>(*host.in.sequenceData); }

// The waves' ages, oldest first.
inline std::vector<float> Ages(FakeHost& host) {
  std::vector<float> ages;
  if (const WaveList* list = StateOf(host).list) {
    for (const Wave& wave : list->waves) ages.push_back(wave.age);
  }
  return ages;
}

// Times of the entries in the stored cache block, read by its documented layout.
inline std::vector<double> CacheTimes(FakeHost& host) {
  const auto* p = static_cast<const std::uint8_t*>(*StateOf(host).cacheBlock);
  const auto word = [&p] {
    std::uint32_t value = 0;
    std::memcpy(&value, p, 4);
    p += 4;
    return value;
  };
  const std::uint32_t restarts = word();
  p += 4 * restarts;
  if (*p++ == 1) p += 8 * restarts;
  const std::uint32_t animated = word();
  p += 4 + 4 * animated;
  const std::uint32_t keyBytes = word();
  std::vector<double> times(word());
  for (double& time : times) {
    std::memcpy(&time, p, 8);
    p += 8 + keyBytes;
  }
  return times;
}

}  // namespace orvandel::test
