// A parameter value reduced to two words, compared to detect change.
#pragma once

#include <cstdint>
#include <cstring>

#include "effect/params/param_slot.h"

namespace orvandel {

struct ValueKey {
  std::uint32_t word0 = 0;
  std::uint32_t word1 = 0;
  bool operator==(const ValueKey&) const = default;
};
inline constexpr std::size_t kValueKeyBytes = 8;
static_assert(sizeof(ValueKey) == kValueKeyBytes);

// Packed keys at any alignment: they may lie inside the locked cache block.
using KeyBytes = const std::uint8_t*;

inline ValueKey KeyAt(KeyBytes keys, std::size_t index) {
  ValueKey key;
  std::memcpy(&key, keys + index * kValueKeyBytes, kValueKeyBytes);
  return key;
}

// By the slot's type: the value word; both words of a point; the fingerprint of a layer's picture at the slot's time
// (of the input layer when no layer is chosen). Fetching a layer may throw AbortException with the host's code.
ValueKey KeyOf(ParamSlot& slot);
// Whether the slot still has the value that `key` was made from. Types beyond popups never compare equal.
bool SameValue(ParamSlot& slot, ValueKey key);
// The value that `key` was made from, of the slot's type. Words that a key does not hold (layers have a fingerprint in
// it, some types nothing) are taken from the slot.
ParamValue ValueFrom(const ParamSlot& slot, ValueKey key);

}  // namespace orvandel
