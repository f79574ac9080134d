#include "effect/params/param_ui.h"

#include "effect/params/param_ids.h"
#include "effect/params/param_slot.h"

namespace orvandel {
namespace {

void SetParamActive(const ParamSlot& slot, bool active, bool setGroupOpen) {
  EffectContext& context = *slot.owner;
  OrvParamDef definition = slot.definition;
  const auto assign = [](std::uint32_t& flags, std::uint32_t bit, bool on) { flags = on ? flags | bit : flags & ~bit; };
  assign(definition.uiFlags, ORV_PARAM_UI_INACTIVE, !active);
  if (definition.type == ORV_PARAM_GROUP_START && setGroupOpen) assign(definition.hostFlags, ORV_PARAM_CLOSED, !active);
  context.services.ParamUtils().updateParamUi(context.inRecord->effectRef, slot.hostIndex, &definition);
}

void SetRangeActive(EffectContext& context, ParamId first, ParamId last, bool active) {
  for (std::int32_t id = first; id <= last; ++id) SetParamActive(FilledSlot(context, id), active, false);
}

}  // namespace

std::int32_t UpdateParamUI(EffectContext& context, std::int32_t changedId) {
  const std::int32_t waveType = ReadInteger(FilledSlot(context, kWaveType));
  const bool polygon = waveType == kPolygonWave;
  const bool contours = waveType == kContourWave;
  const bool mask = waveType == kMaskWave;
  const bool fromType = changedId == kWaveType;

  SetParamActive(FilledSlot(context, kGroupPolygon), polygon, fromType);
  SetRangeActive(context, kSides, kStar, polygon);
  const bool starOn = polygon && ValueWord(FilledSlot(context, kStar)) != 0;
  SetParamActive(FilledSlot(context, kStarDepth), starOn, false);
  SetParamActive(FilledSlot(context, kGroupImageContour), contours, fromType);
  SetRangeActive(context, kSourceLayer, kContour, contours);
  SetParamActive(FilledSlot(context, kGroupMask), mask, fromType);
  SetParamActive(FilledSlot(context, kMask), mask, false);
  return ORV_OK;
}

}  // namespace orvandel
