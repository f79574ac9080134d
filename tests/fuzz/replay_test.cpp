// Every input in the repository's corpora, and damaged copies of it, goes through its target once more.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "tests/fuzz/targets.h"

namespace orvandel::fuzz {
namespace {

using Input = std::vector<std::uint8_t>;

Input ReadInput(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return Input(std::istreambuf_iterator<char>(in), {});
}

// A few bytes changed, a stretch removed or doubled.
Input Damaged(Input input, std::uint32_t seed) {
  std::mt19937 random(seed);
  for (int i = 0; i < 3 && !input.empty(); ++i) {
    const auto at = static_cast<std::ptrdiff_t>(random() % input.size());
    const auto length = static_cast<std::ptrdiff_t>(std::min<std::size_t>(1 + random() % 16, input.size() - at));
    const Input stretch(input.begin() + at, input.begin() + at + length);
    switch (random() % 3) {
      case 0:
        input[static_cast<std::size_t>(at)] = static_cast<std::uint8_t>(random());
        break;
      case 1:
        input.erase(input.begin() + at, input.begin() + at + length);
        break;
      default:
        input.insert(input.begin() + at, stretch.begin(), stretch.end());
    }
  }
  return input;
}

class Replay : public testing::TestWithParam<NamedTarget> {};

TEST_P(Replay, Corpus) {
  int inputs = 0;
  const auto folder = std::filesystem::path(ORVANDEL_CORPUS_DIR) / GetParam().name;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    SCOPED_TRACE(entry.path().string());
    const Input input = ReadInput(entry.path());
    GetParam().run(input);
    for (std::uint32_t seed = 1; seed <= 4; ++seed) {
      SCOPED_TRACE(testing::Message() << "damaged with seed " << seed);
      GetParam().run(Damaged(input, seed));
    }
    ++inputs;
  }
  EXPECT_GT(inputs, 5);
}

INSTANTIATE_TEST_SUITE_P(Targets, Replay, testing::ValuesIn(kTargets),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace orvandel::fuzz
