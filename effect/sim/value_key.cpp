#include "effect/sim/value_key.h"

#include "effect/params/layer_image.h"
#include "effect/params/param_ids.h"
#include "effect/params/param_slot.h"

namespace orvandel {
namespace {

bool HasValueWord(std::int32_t type) {
  return (type >= ORV_PARAM_INTEGER && type <= ORV_PARAM_COLOR) || type == ORV_PARAM_POPUP;
}

ValueKey LayerKey(ParamSlot& slot) {
  const std::int32_t hostTime = slot.sampleTime;
  ParamSlot* source = &slot;
  if (!AcquireLayer(slot, hostTime)) {
    CheckIn(slot);
    source = &FilledSlot(*slot.owner, kInputLayer);
    AcquireLayer(*source, hostTime);
  }
  const Fingerprint print = FingerprintImage(SlotImage(*source));
  return {print[0], print[1]};
}

ValueKey PointKey(const OrvPointValue& point) {
  return {static_cast<std::uint32_t>(point.x), static_cast<std::uint32_t>(point.y)};
}

}  // namespace

ValueKey KeyOf(ParamSlot& slot) {
  const std::int32_t type = slot.definition.type;
  if (type == ORV_PARAM_LAYER) return LayerKey(slot);
  if (type == ORV_PARAM_POINT) return PointKey(slot.definition.value.point);
  if (HasValueWord(type)) return {ValueWord(slot.definition), 0};
  return {};
}

bool SameValue(ParamSlot& slot, ValueKey key) {
  const std::int32_t type = slot.definition.type;
  if (HasValueWord(type)) return ValueWord(slot.definition) == key.word0;
  if (type == ORV_PARAM_POINT || type == ORV_PARAM_LAYER) return KeyOf(slot) == key;
  return false;
}

void LoadValue(ParamSlot& slot, ValueKey key) {
  if (slot.definition.type == ORV_PARAM_POINT) {
    slot.definition.value.point.x = static_cast<OrvFixed>(key.word0);
    slot.definition.value.point.y = static_cast<OrvFixed>(key.word1);
  } else if (HasValueWord(slot.definition.type)) {
    std::memcpy(&slot.definition.value, &key.word0, sizeof(key.word0));
  }
}

}  // namespace orvandel
