// Reading parameter values: filling a slot for the call's time, re-reading it at another time, and the two generic
// reads.
#pragma once

#include <cstdint>

#include "effect/host/effect_context.h"

namespace orvandel {

// The slot of a logical id, filled for the call's current time unless it is filled already. AbortException(512) when
// none is registered for it.
ParamSlot& FilledSlot(EffectContext& context, std::int32_t paramId);

// Makes the slot hold the value at `hostTime`. A layer's pixels and a mask's path are fetched only when asked for.
void SampleAt(ParamSlot& slot, std::int32_t hostTime);

// 16.16 values round to the nearest whole number, halves upward. Types without a number give 0.
std::int32_t ReadInteger(const ParamSlot& slot);
float ReadFloat(const ParamSlot& slot);
// The value word, whatever the type (checkboxes, colours).
std::uint32_t ValueWord(const OrvParamDef& definition);

}  // namespace orvandel
