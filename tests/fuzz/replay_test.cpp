// Every input of the corpora, and damaged copies of it, goes through its target once more. A corpus is one archive a
// target: a tar file without folders, which script/fuzz unpacks and packs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/fuzz/targets.h"

namespace orvandel::fuzz {
namespace {

using Input = std::vector<std::uint8_t>;

// By name. An archive is a header of 512 bytes for each file, its name first and its size at 124 in octal, and the file
// in whole blocks of 512; blocks of zeros end it.
std::map<std::string, Input> ReadArchive(const std::string& file) {
  constexpr std::size_t kBlock = 512, kSizeAt = 124;
  std::ifstream stream(file, std::ios::binary);
  const std::string archive{std::istreambuf_iterator<char>(stream), {}};
  std::map<std::string, Input> inputs;
  for (std::size_t at = 0; at + kBlock <= archive.size() && archive[at] != 0;) {
    const std::size_t size = std::strtoul(&archive[at + kSizeAt], nullptr, 8);
    const std::string name = &archive[at];
    at += kBlock;
    const std::string content = archive.substr(at, size);
    EXPECT_EQ(content.size(), size) << name << ": the archive ends within it";
    inputs[name] = Input(content.begin(), content.end());
    at += (size + kBlock - 1) / kBlock * kBlock;
  }
  return inputs;
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
  const auto inputs = ReadArchive(std::string(ORVANDEL_CORPUS_DIR) + "/" + GetParam().name + ".tar");
  for (const auto& [name, input] : inputs) {
    SCOPED_TRACE(name);
    GetParam().run(input);
    for (std::uint32_t seed = 1; seed <= 4; ++seed) {
      SCOPED_TRACE(testing::Message() << "damaged with seed " << seed);
      GetParam().run(Damaged(input, seed));
    }
  }
  EXPECT_GT(inputs.size(), 5U);
}

INSTANTIATE_TEST_SUITE_P(Targets, Replay, testing::ValuesIn(kTargets),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace orvandel::fuzz
