// The block that one instance of the effect keeps with the host between calls.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "effect/heap/heap.h"
#include "orvandel/host.h"

namespace orvandel {

// Logical parameter id -> host parameter index; -1 where no parameter is registered.
inline constexpr std::int32_t kParamIndexEntries = 148;
using ParamIndexTable = std::array<std::int32_t, kParamIndexEntries>;

struct GlobalData {
  ParamIndexTable paramIndexTable;
  HeapState heapState;       // the private heap's state of this instance while the module is unloaded
  HeapState savedHeapState;  // what was in force in the module before this instance's state
  OrvStringsRef strings;     // the open string table
  std::byte spare[16];       // zero; keeps the block at its historical size
};
static_assert(sizeof(GlobalData) == 4744);
static_assert(offsetof(GlobalData, heapState) == 592);
static_assert(offsetof(GlobalData, strings) == 4720);

}  // namespace orvandel
