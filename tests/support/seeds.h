// How the sweeps are replayed and prolonged: numbers from the environment.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>

namespace orvandel::test {

inline std::int64_t FromEnvironment(const char* name, std::int64_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr || *text == '\0' ? otherwise : std::strtoll(text, nullptr, 10);
}

// The long sweeps take every n-th schedule: ORVANDEL_THINNING=n, 1 if not said. Under the sanitizers, which cost a
// factor of five, 4.
inline std::int64_t Thinning() {
#if defined(__SANITIZE_ADDRESS__)
  return FromEnvironment("ORVANDEL_THINNING", 4);
#else
  return FromEnvironment("ORVANDEL_THINNING", 1);
#endif
}

// ORVANDEL_SEED_FILE: where the seed at work is written, for a run that ends in a crash.
inline void NoteSeed(std::int64_t seed) {
  const char* file = std::getenv("ORVANDEL_SEED_FILE");
  if (file != nullptr) std::ofstream(file) << seed << '\n';
}

// run(seed) for the seeds 0 to count - 1, until one fails. ORVANDEL_SEED=n: that one alone. ORVANDEL_FIRST_SEED=n:
// others. ORVANDEL_SWEEP=n: n times as many; script/soak goes on from there. Returns how many were run.
template <typename Run>
std::int64_t ForEachSeed(std::int64_t count, Run run) {
  const std::int64_t only = FromEnvironment("ORVANDEL_SEED", -1);
  const std::int64_t first = only >= 0 ? only : FromEnvironment("ORVANDEL_FIRST_SEED", 0);
  const std::int64_t runs = only >= 0 ? 1 : count * FromEnvironment("ORVANDEL_SWEEP", 1) / Thinning();
  for (std::int64_t seed = first; seed < first + runs && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE(testing::Message() << "ORVANDEL_SEED=" << seed);
    NoteSeed(seed);
    run(static_cast<std::uint32_t>(seed));
  }
  return runs;
}

}  // namespace orvandel::test
