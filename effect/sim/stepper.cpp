#include "effect/sim/stepper.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "effect/base/float_rules.h"
#include "effect/base/invariants.h"
#include "effect/sim/param_cache.h"
#include "effect/sim/state_register.h"
#include "effect/sim/ticks.h"

namespace orvandel {
namespace {

const OrvUtilities& Utilities(const Stepper& stepper) { return *stepper.context->inRecord->utilities; }

void CreateState(Stepper& stepper) {
  const OrvHandle handle = Utilities(stepper).newHandle(sizeof(SequenceState));
  if (handle == nullptr) throw AllocFailed(static_cast<std::int32_t>(sizeof(SequenceState)));
  stepper.context->outRecord->sequenceData = handle;
  stepper.context->inRecord->sequenceData = handle;
  Utilities(stepper).lockHandle(handle);
  stepper.state = ::new (*handle) SequenceState{};  // the release fills it
  // The register may hold an entry for this address already, of a state whose handle the host disposed of itself.
  Register(*stepper.state);
}

// Forgets, without touching it, what lay on a heap that no longer exists.
void ForgetHeapMemory(SequenceState& state) {
  state.list = nullptr;
  state.time = -1;
  state.traces = nullptr;
}

void TakeOver(Stepper& stepper) {
  const OrvHandle handle = stepper.context->inRecord->sequenceData;
  stepper.context->outRecord->sequenceData = handle;
  stepper.state = static_cast<SequenceState*>(*handle);
  if (!IsRegistered(*stepper.state)) ForgetHeapMemory(*stepper.state);
  stepper.cacheBlock = stepper.state->cacheBlock;
  stepper.list = stepper.state->list;
  stepper.time = stepper.state->time;
  stepper.snapshotBlock = stepper.state->snapshotBlock;
  stepper.snapshotTime = stepper.state->snapshotTime;
  stepper.stamp = stepper.state->stamp;
  stepper.checkedTo = stepper.state->checkedTo;
  if (stepper.cacheBlock == nullptr) return;
  Utilities(stepper).lockHandle(stepper.cacheBlock);
  stepper.cacheAddress = static_cast<std::uint8_t*>(*stepper.cacheBlock);
}

// False without memory for it; then the old block stays. The host may throw instead.
bool RewriteCacheBlock(Stepper& stepper) {
  const std::uint64_t size = CacheBlockSize(stepper);
  const OrvHandle fresh = size > 0x7FFFFFFF ? nullptr : Utilities(stepper).newHandle(size);
  if (fresh == nullptr) return false;
  Utilities(stepper).lockHandle(fresh);
  // Complete before the old block is disposed of: keys may still lie in it.
  WriteCacheBlock(stepper, static_cast<std::uint8_t*>(*fresh));
  if (stepper.cacheBlock != nullptr) {
    Utilities(stepper).unlockHandle(stepper.cacheBlock);
    Utilities(stepper).disposeHandle(stepper.cacheBlock);
  }
  stepper.cacheBlock = fresh;
  stepper.cacheAddress = static_cast<std::uint8_t*>(*fresh);
  return true;
}

void DiscardSimulation(Stepper& stepper) noexcept {
  stepper.stamp = 0;
  DiscardList(stepper);
  DiscardSnapshot(stepper);
}

FrameTerms TermsOf(const EffectContext& context) {
  const OrvInRecord& host = *context.inRecord;
  const ImageBuffer output = context.outputView.HasPixels() ? context.outputView : ImageBuffer{};
  return {host.timeScale,
          host.quality,
          host.width,
          host.height,
          context.input.width,
          context.input.height,
          output.width,
          output.height,
          host.origin.x,
          host.origin.y,
          RatioValue(host.downsampleX),
          RatioValue(host.downsampleY)};
}

// A sequence whose waves were made for other terms starts afresh.
void AcceptTerms(Stepper& stepper) noexcept {
  const FrameTerms terms = TermsOf(*stepper.context);
  if (!(terms == stepper.state->terms)) DiscardSimulation(stepper);
  stepper.state->terms = terms;
}

void WriteBack(Stepper& stepper) noexcept {
  if (stepper.state != nullptr) {
    SequenceState& state = *stepper.state;
    state.cacheBlock = stepper.cacheBlock;
    state.time = stepper.time;
    state.list = stepper.list;
    state.snapshotBlock = stepper.snapshotBlock;
    state.snapshotTime = stepper.snapshotTime;
    state.stamp = stepper.stamp;
    state.checkedTo = stepper.checkedTo;
  }
  if (stepper.cacheAddress != nullptr) {
    Utilities(stepper).unlockHandle(stepper.cacheBlock);
    stepper.cacheAddress = nullptr;
  }
}

bool IsWholeTick(double tick) { return tick >= 0 && tick == std::floor(tick); }

// In order, and none of what was simulated with them begins before the first.
bool EntriesAreInOrder(const Stepper& stepper) {
  double last = -1;
  for (const CacheEntry& entry : stepper.cacheEntries) {
    if (!IsWholeTick(entry.time) || entry.time <= last || entry.byteCount != stepper.KeyBytesPerEntry()) return false;
    last = entry.time;
  }
  if (stepper.cacheEntries.empty()) return true;
  const double first = stepper.cacheEntries.front().time;
  return (stepper.time == -1 || stepper.time >= first) && (stepper.snapshotTime == -1 || stepper.snapshotTime >= first);
}

}  // namespace

Stepper::Stepper(EffectContext& callContext)
    : context(&callContext),
      durationTicks(TicksOf(callContext.inRecord->duration, callContext.inRecord->timeScale)),
      target(std::max(TicksOf(callContext.inRecord->currentTime, callContext.inRecord->timeScale), 0.0)) {}

void CheckInvariants(const Stepper& stepper) noexcept {
  const bool hasList = stepper.list != nullptr, hasSnapshot = stepper.snapshotBlock != nullptr;
  ORVANDEL_INVARIANT(hasList ? stepper.time >= 0 : stepper.time == -1);
  ORVANDEL_INVARIANT(hasSnapshot ? IsWholeTick(stepper.snapshotTime) : stepper.snapshotTime == -1);

  const bool hasRead = !stepper.simParams.empty(), hasEntries = !stepper.cacheEntries.empty();
  ORVANDEL_INVARIANT(hasEntries || !hasRead || (!hasList && !hasSnapshot));
  ORVANDEL_INVARIANT(EntriesAreInOrder(stepper));
  ORVANDEL_INVARIANT(stepper.restartValues.size() == (hasEntries ? stepper.restartIds.size() : 0));
  ORVANDEL_INVARIANT(stepper.stamp == 0 || !hasRead ||
                     (hasEntries && stepper.checkedTo > 0 && IsWholeTick(stepper.checkedTo)));

  const bool ownsHeap = hasList || (stepper.state != nullptr && stepper.state->traces != nullptr);
  ORVANDEL_INVARIANT(!ownsHeap || (stepper.state != nullptr && IsRegistered(*stepper.state)));
}

void OpenStepper(Stepper& stepper, bool sample) {
  if (stepper.context->inRecord->sequenceData == nullptr) {
    CreateState(stepper);
    return;
  }
  TakeOver(stepper);
  CheckInvariants(stepper);
  if (!sample || stepper.cacheBlock == nullptr) return;
  if (stepper.target > kLatestTick) throw AbortException(ORV_INVALID_CALLBACK);
  Register(*stepper.state);  // again: the heap may have been released in between
  AcceptTerms(stepper);
  try {
    ReadCacheBlock(stepper, stepper.cacheAddress);
    stepper.simParams = HeapVector<ParamSlot>(static_cast<std::size_t>(stepper.maxParamId + 1));
    stepper.simValues.resize(stepper.simParams.size());
    CheckInvariants(stepper);
    LoadSimParams(stepper);
    CheckInvariants(stepper);
  } catch (...) {
    AbandonStepper(stepper);
    throw;
  }
}

void ReleaseStepper(Stepper& stepper, bool duringFailure) {
  if (stepper.released) return;
  stepper.released = true;
  bool cacheLost = false;
  try {
    cacheLost = stepper.cacheDirty && !RewriteCacheBlock(stepper);
  } catch (...) {
    DiscardSimulation(stepper);
    WriteBack(stepper);
    if (!duringFailure) throw;
    return;
  }
  // Values that the host refused have gone into the waves; the cache finds out by itself.
  if (cacheLost || stepper.context->checkOutRefused) DiscardSimulation(stepper);
  CheckInvariants(stepper);
  WriteBack(stepper);
  if (cacheLost && !duringFailure) throw AllocFailed::ForBytes(CacheBlockSize(stepper));
}

void AbandonStepper(Stepper& stepper) noexcept {
  stepper.released = true;
  DiscardSimulation(stepper);
  WriteBack(stepper);
}

void DiscardList(Stepper& stepper) noexcept {
  if (stepper.list != nullptr) {
    stepper.list->~WaveList();
    heap::Free(stepper.list);
  }
  stepper.list = nullptr;
  stepper.time = -1;
}

void DiscardSnapshot(Stepper& stepper) noexcept {
  if (stepper.snapshotBlock != nullptr) Utilities(stepper).disposeHandle(stepper.snapshotBlock);
  stepper.snapshotBlock = nullptr;
  stepper.snapshotTime = -1;
}

void RegisterAnimated(Stepper& stepper, std::int32_t id) {
  stepper.animatedIds.push_back(id);
  stepper.cacheDirty = true;
  stepper.maxParamId = std::max(stepper.maxParamId, id);
}

void RegisterRestart(Stepper& stepper, std::int32_t id) {
  stepper.restartIds.push_back(id);
  stepper.cacheDirty = true;
  stepper.maxParamId = std::max(stepper.maxParamId, id);
}

}  // namespace orvandel
