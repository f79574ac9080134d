#include "effect/sim/value_key.h"

#include "effect/params/layer_image.h"
#include "effect/params/param_ids.h"

namespace orvandel {
namespace {

bool HasValueWord(std::int32_t type) {
  return (type >= ORV_PARAM_INTEGER && type <= ORV_PARAM_COLOR) || type == ORV_PARAM_POPUP;
}

ValueKey LayerKey(ParamSlot& slot) {
  const std::int32_t hostTime = slot.sampleTime;
  // Type 0 is also what a slot has when all its check-outs were refused.
  if (!slot.answered) SampleAt(slot, hostTime);
  if (slot.definition.type != ORV_PARAM_LAYER) return KeyOf(slot);
  ParamSlot* source = &slot;
  if (!AcquireLayer(slot, hostTime)) {
    CheckIn(slot);
    source = &FilledSlot(*slot.owner, kInputLayer);
    AcquireLayer(*source, hostTime);
  }
  const Fingerprint print = FingerprintImage(SlotImage(*source));
  return {print[0], print[1]};
}

}  // namespace

ValueKey KeyOf(ParamSlot& slot) {
  if (slot.definition.type == ORV_PARAM_LAYER) return LayerKey(slot);
  const ParamValue value = ValueOf(slot);
  if (value.type == ORV_PARAM_POINT) return {value.word0, value.word1};
  if (HasValueWord(value.type)) return {value.word0, 0};
  return {};
}

bool SameValue(ParamSlot& slot, ValueKey key) {
  const std::int32_t type = slot.definition.type;
  if (HasValueWord(type)) return ValueWord(slot) == key.word0;
  if (type == ORV_PARAM_POINT || type == ORV_PARAM_LAYER) return KeyOf(slot) == key;
  return false;
}

ParamValue ValueFrom(const ParamSlot& slot, ValueKey key) {
  ParamValue value = ValueOf(slot);
  const bool isPoint = value.type == ORV_PARAM_POINT;
  if (isPoint || HasValueWord(value.type)) value.word0 = key.word0;
  if (isPoint) value.word1 = key.word1;
  return value;
}

}  // namespace orvandel
