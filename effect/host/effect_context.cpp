#include "effect/host/effect_context.h"

#include "effect/base/errors.h"

namespace orvandel {

std::int32_t CheckOutDefinition(ParamSlot& slot, std::int32_t hostTime, std::int32_t timeStep) {
  const OrvInRecord& host = *slot.owner->inRecord;
  const std::int32_t code = host.callbacks.checkOutParam(host.effectRef, slot.hostIndex, hostTime, timeStep,
                                                         host.timeScale, &slot.definition);
  slot.answered = code == 0;
  if (code != 0) slot.owner->checkOutRefused = true;
  return code;
}

void CheckIn(ParamSlot& slot) {
  if (!slot.held) return;
  slot.held = false;
  slot.knownPicture = 0;
  const OrvInRecord& host = *slot.owner->inRecord;
  host.callbacks.checkInParam(host.effectRef, &slot.definition);
}

void ReleasePath(ParamSlot& slot) {
  if (slot.pathHandle == 0) return;
  const OrvPathRef path = slot.pathHandle;
  slot.pathHandle = 0;
  // Checking the path out acquired the service, and the call still holds it.
  const OrvPathQueryService& query = slot.owner->services.PathQuery();
  query.checkInPath(slot.owner->inRecord->effectRef, slot.definition.value.path.pathId, 0, path);
}

void ParamSlot::Release() noexcept {
  CheckIn(*this);
  ReleasePath(*this);
}

std::int32_t EffectContext::HostIndexOf(std::int32_t paramId) const {
  const std::int32_t hostIndex = globals->paramIndexTable[static_cast<std::size_t>(paramId)];
  if (hostIndex < 0 || hostIndex >= kSlotCount) throw AbortException(ORV_INVALID_CALLBACK);
  return hostIndex;
}

ParamSlot& EffectContext::SlotOf(std::int32_t paramId) { return slots[static_cast<std::size_t>(HostIndexOf(paramId))]; }

std::int32_t EffectContext::CheckAbort() {
  if (aborted != 0) return aborted;
  ++abortChecks;
  aborted = inRecord->callbacks.abortCheck(inRecord->effectRef);
  return aborted;
}

std::int32_t EffectContext::ReportProgress(std::int32_t done, std::int32_t total) {
  if (aborted == 0) aborted = inRecord->callbacks.progress(inRecord->effectRef, done, total);
  return aborted;
}

std::int32_t EffectContext::RowsBetweenReports() {
  const OrvProgressIntervalService* service = services.ProgressInterval();
  std::int32_t rows = 1;
  const bool answered = service != nullptr && service->rowsBetweenReports(inRecord->effectRef, &rows) == 0;
  return answered && rows > 1 ? rows : 1;
}

std::uint64_t EffectContext::ChangeStamp() {
  if (checkOutRefused) return 0;
  const OrvChangeStampService* service = services.ChangeStamp();
  std::uint64_t stamp = 0;
  return service != nullptr && service->changeStamp(inRecord->effectRef, &stamp) == 0 ? stamp : 0;
}

}  // namespace orvandel
