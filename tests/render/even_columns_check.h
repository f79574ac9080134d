// Compares the indices of columns by whole numbers with those of sums of floats, on processors that have the code.
#pragma once

#include <cstdint>

namespace orvandel {

struct EvenColumnsCheck {
  long even = 0;   // parts of sixteen columns by sixteen rows that were compared
  long wrong = 0;  // indices that differ, and u behind a part
};

// Random batches of rows, the same ones for the same seed.
EvenColumnsCheck CheckEvenColumns(std::uint32_t seed, int batches);

}  // namespace orvandel
