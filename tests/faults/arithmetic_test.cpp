// The C library computes some sines and exponentials differently on processors with fused multiply-add. The effect's
// roundings must hide all of it: the same frame has the same bytes on every processor.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace orvandel::test {
namespace {

std::string OutputOf(const std::string& command) {
  std::string text;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return text;
  char line[256];
  while (std::fgets(line, sizeof line, pipe) != nullptr) text += line;
  return pclose(pipe) == 0 ? text : "failed: " + text;
}

TEST(Arithmetic, DoesNotDependOnTheProcessorsVariants) {
  const std::string digest = OutputOf(ORVANDEL_ARITHMETIC_DIGEST);
  EXPECT_EQ(digest, "vertices 2540 917f6e3aed67a57b\ntables 1785 e18fb5d8b72c31f6\nblur 3276800 1fbeebc381d84340\n");
  EXPECT_EQ(digest, OutputOf("GLIBC_TUNABLES=glibc.cpu.hwcaps=-FMA,-FMA4,-AVX2,-AVX512F " ORVANDEL_ARITHMETIC_DIGEST));
}

}  // namespace
}  // namespace orvandel::test
