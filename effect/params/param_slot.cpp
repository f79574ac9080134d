#include "effect/params/param_slot.h"

#include <cstring>

namespace orvandel {
namespace {

std::int32_t WrappingMinusOrigin(std::int32_t word, std::int32_t originPixels) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(word) - (static_cast<std::uint32_t>(originPixels) << 16));
}

// Points come in layer pixels; the effect counts from the output buffer's origin.
void SubtractOrigin(OrvParamDef& definition, const OrvPointI& origin) {
  OrvPointValue& point = definition.value.point;
  point.x = WrappingMinusOrigin(point.x, origin.x);
  point.y = WrappingMinusOrigin(point.y, origin.y);
}

// Checks the slot's parameter out at its sampleTime. A layer stays checked out; anything else goes back at once. A
// refused check-out is not an error here: the definition keeps what the host left in it.
void CheckOut(ParamSlot& slot) {
  const OrvInRecord& host = *slot.owner->inRecord;
  const bool granted = CheckOutDefinition(slot, slot.sampleTime, host.paramTimeStep) == 0;
  if (slot.definition.type == ORV_PARAM_LAYER) {
    slot.held = granted;
    return;
  }
  if (granted) host.callbacks.checkInParam(host.effectRef, &slot.definition);
  if (slot.definition.type == ORV_PARAM_POINT) SubtractOrigin(slot.definition, host.origin);
}

void FillSlot(ParamSlot& slot, EffectContext& context, std::int32_t hostIndex) {
  slot.owner = &context;
  slot.hostIndex = hostIndex;
  slot.sampleTime = context.inRecord->currentTime;
  if (context.params != nullptr && context.params[hostIndex] != nullptr) {
    slot.definition = *context.params[hostIndex];
    slot.answered = true;
  } else {
    CheckOut(slot);
  }
  slot.filled = true;
}

}  // namespace

ParamSlot& FilledSlot(EffectContext& context, std::int32_t paramId) {
  const std::int32_t hostIndex = context.HostIndexOf(paramId);
  ParamSlot& slot = context.slots[static_cast<std::size_t>(hostIndex)];
  if (!slot.filled) FillSlot(slot, context, hostIndex);
  return slot;
}

void SampleAt(ParamSlot& slot, std::int32_t hostTime) {
  // After a refusal the definition's type means nothing.
  const std::int32_t type = slot.definition.type;
  const bool fetchedLater = slot.answered && (type == ORV_PARAM_LAYER || type == ORV_PARAM_PATH);
  if (fetchedLater && hostTime == slot.sampleTime) return;
  if (fetchedLater) {
    CheckIn(slot);
    ReleasePath(slot);
  }
  slot.sampleTime = hostTime;
  if (!fetchedLater) CheckOut(slot);
}

ParamValue ValueOf(const ParamSlot& slot) {
  ParamValue value{slot.definition.type};
  // The value stands first in every type's part of the union.
  static_assert(sizeof(slot.definition.value) >= 2 * sizeof(std::uint32_t));
  const auto* const words = reinterpret_cast<const std::uint8_t*>(&slot.definition.value);
  std::memcpy(&value.word0, words, sizeof(value.word0));
  std::memcpy(&value.word1, words + sizeof(value.word0), sizeof(value.word1));
  return value;
}

std::int32_t ReadInteger(const ParamValue& value) {
  const auto word = static_cast<std::int32_t>(value.word0);
  switch (value.type) {
    case ORV_PARAM_INTEGER:
    case ORV_PARAM_CHECKBOX:
    case ORV_PARAM_POPUP:
      return word;
    case ORV_PARAM_FIXED:
    case ORV_PARAM_ANGLE:
      return static_cast<std::int32_t>((static_cast<std::int64_t>(word) + 32768) >> 16);
    default:
      return 0;
  }
}

float ReadFloat(const ParamValue& value) {
  const auto word = static_cast<std::int32_t>(value.word0);
  switch (value.type) {
    case ORV_PARAM_INTEGER:
    case ORV_PARAM_CHECKBOX:
    case ORV_PARAM_POPUP:
      return static_cast<float>(word);
    case ORV_PARAM_FIXED:
    case ORV_PARAM_ANGLE:
      return static_cast<float>(word) * (1.0F / 65536.0F);
    default:
      return 0;
  }
}

}  // namespace orvandel
