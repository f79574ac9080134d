#include <gtest/gtest.h>

#include "effect/render/stroke_code.h"
#include "tests/render/even_columns_check.h"

namespace orvandel {
namespace {

// A wrong index hardly ever shows in a picture: it is off by one, and one of 256 of its pixel.
TEST(EvenColumns, HaveTheIndicesOfSingleAdditions) {
  const StrokeCode usual = CurrentStrokeCode();
  const bool atHand = ChooseStrokeCode(StrokeCode::kAvx512);
  ChooseStrokeCode(usual);
  if (!atHand) GTEST_SKIP() << "this processor has other code";
  const EvenColumnsCheck check = CheckEvenColumns(1, 20000);
  EXPECT_GT(check.even, 50000);
  EXPECT_EQ(check.wrong, 0);
}

}  // namespace
}  // namespace orvandel
