// What libFuzzer calls: one program a target, chosen when it is compiled.
#include <gtest/gtest.h>

#include "tests/fuzz/targets.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  GTEST_FLAG_SET(break_on_failure, true);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  orvandel::fuzz::ORVANDEL_FUZZ_TARGET({data, size});
  return 0;
}
