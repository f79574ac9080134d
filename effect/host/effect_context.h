// The record of one call: the host's records, views of its images, the parameter slots and the services in use.
//
// It lives on FilterMain's stack. Nothing in it owns memory of the private heap, so the heap may be emptied before the
// context ends (after global set-down). Teardown order: slots (they may still need a service), then services.
#pragma once

#include <array>
#include <cstdint>

#include "effect/host/global_data.h"
#include "effect/host/host_services.h"
#include "effect/host/image_buffer.h"
#include "orvandel/effect.h"

namespace orvandel {

struct EffectContext;

// One parameter value at one host time. Destroying a slot checks in whatever it still holds.
struct ParamSlot {
  OrvParamDef definition{};
  EffectContext* owner = nullptr;
  std::int32_t hostIndex = -1;  // -1 in an empty slot
  std::int32_t sampleTime = 0;  // host time that the value belongs to
  bool filled = false;
  bool answered = false;           // the definition came from the parameter array or from a granted check-out
  bool held = false;               // a layer that must still be checked in
  OrvPathRef pathHandle = 0;       // a mask path that must still be checked in, 0 = none
  std::uint32_t knownPicture = 0;  // number of the picture that the held layer has been found equal to; 0: none yet

  ParamSlot() = default;
  ParamSlot(const ParamSlot&) = delete;
  ParamSlot& operator=(const ParamSlot&) = delete;
  ~ParamSlot() { Release(); }

  // Checks the layer and the path in; the slot may be used again.
  void Release() noexcept;
};

// Checks the slot's parameter out at `hostTime` and returns the host's code. Refused: the definition keeps what the
// host left in it, and nothing is lent.
std::int32_t CheckOutDefinition(ParamSlot& slot, std::int32_t hostTime, std::int32_t timeStep);
// Returns a held layer / mask path to the host; nothing when none is held.
void CheckIn(ParamSlot& slot);
void ReleasePath(ParamSlot& slot);

inline constexpr std::int32_t kSlotCount = 127;

struct EffectContext {
  OrvInRecord* inRecord = nullptr;
  OrvOutRecord* outRecord = nullptr;
  OrvParamDef** params = nullptr;  // null: values come from check-outs
  OrvImage* output = nullptr;      // null when not passed
  ImageBuffer input;               // the effect's own layer; empty when `params` is null
  ImageBuffer outputView;          // view of `output`; empty when null
  std::int32_t aborted = 0;        // the host's first non-zero answer; then it is not asked again
  std::int64_t abortChecks = 0;    // how often the host has been asked whether to stop
  bool checkOutRefused = false;    // at least once: values made from it may be wrong, so no change stamp counts
  GlobalData* globals = nullptr;
  std::array<ParamSlot, kSlotCount> slots;  // by host parameter index
  HostServices services;

  EffectContext() = default;
  EffectContext(const EffectContext&) = delete;
  EffectContext& operator=(const EffectContext&) = delete;
  // Slots are released before the services, whatever the order of the fields: a slot may still need one.
  ~EffectContext() {
    for (ParamSlot& slot : slots) slot.Release();
  }

  // Full quality, not a draft.
  bool IsHighQuality() const { return inRecord->quality == 1; }

  // The slot of a logical parameter id; AbortException(512) when none is registered for it.
  ParamSlot& SlotOf(std::int32_t paramId);
  // The host index of a logical parameter id; AbortException(512) when none is registered for it.
  std::int32_t HostIndexOf(std::int32_t paramId) const;

  // Asks the host whether to stop, unless it has said so before. Returns `aborted`. A stop is no failure: it travels up
  // as the returned code, never as an exception, and what was reached until then is kept.
  std::int32_t CheckAbort();
  // Reports progress, unless the host has stopped the work before. Returns `aborted`.
  std::int32_t ReportProgress(std::int32_t done, std::int32_t total);
  // How many rows of a wave may lie between two reports, at least 1, see OrvProgressIntervalService.
  std::int32_t RowsBetweenReports();
  // While this number stays the same, the host promises that nothing has changed (OrvChangeStampService); 0: no
  // promise.
  std::uint64_t ChangeStamp();
};

}  // namespace orvandel
