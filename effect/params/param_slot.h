// Reading parameter values: filling a slot for the call's time, re-reading it at another time, and the value it holds.
#pragma once

#include <cstdint>

#include "effect/host/effect_context.h"

namespace orvandel {

// The slot of a logical id, filled for the call's current time unless it is filled already. AbortException(512) when
// none is registered for it.
ParamSlot& FilledSlot(EffectContext& context, std::int32_t paramId);

// Makes the slot hold the value at `hostTime`. A layer's pixels and a mask's path are fetched only when asked for.
void SampleAt(ParamSlot& slot, std::int32_t hostTime);

// A value taken out of the host's definition.
struct ParamValue {
  std::int32_t type = 0;
  std::uint32_t word0 = 0;  // the value word; a point's x
  std::uint32_t word1 = 0;  // a point's y
  bool operator==(const ParamValue&) const = default;
};

ParamValue ValueOf(const ParamSlot& slot);

// 16.16 values round to the nearest whole number, halves upward. Types without a number give 0. Checkboxes and colours
// are read from the value word, whatever the type.
std::int32_t ReadInteger(const ParamValue& value);
float ReadFloat(const ParamValue& value);
inline std::int32_t ReadInteger(const ParamSlot& slot) { return ReadInteger(ValueOf(slot)); }
inline float ReadFloat(const ParamSlot& slot) { return ReadFloat(ValueOf(slot)); }
inline std::uint32_t ValueWord(const ParamSlot& slot) { return ValueOf(slot).word0; }

}  // namespace orvandel
