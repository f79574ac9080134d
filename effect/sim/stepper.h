// The working record of one command on a sequence: opened on its SequenceState, released when the command ends.
//
// While it is open the cache block is locked, and cached keys are used in place inside it; the stepper owns the list
// and the snapshot until it is released or abandoned, which hands them back to the state.
#pragma once

#include <cstdint>

#include "effect/base/heap_containers.h"
#include "effect/sim/sequence_state.h"
#include "effect/sim/value_key.h"

namespace orvandel {

// The animated values that stand from `time` up to the next entry's time.
struct CacheEntry {
  KeyBytes keys;  // one key per animated id, in list order
  std::uint32_t byteCount;
  double time;  // ticks
};

struct Stepper {
  explicit Stepper(EffectContext& callContext);
  Stepper(const Stepper&) = delete;
  Stepper& operator=(const Stepper&) = delete;

  EffectContext* context;
  std::int32_t abortCode = 0;      // the host's code once stepping may not go on
  SequenceState* state = nullptr;  // null once disposed
  OrvHandle cacheBlock = nullptr;
  std::uint8_t* cacheAddress = nullptr;  // of the locked cache block
  WaveList* list = nullptr;
  double time = -1;  // ticks; -1 when there is no list
  const double durationTicks;
  const double target;  // ticks, of the frame
  OrvHandle snapshotBlock = nullptr;
  double snapshotTime = -1;                           // ticks; -1 when there is no snapshot
  HeapVector<HeapVector<std::uint8_t>> ownedBuffers;  // keys sampled by this command
  // By logical id, up to maxParamId; empty until sampled: the slots that read the host, and what stepping goes by.
  HeapVector<ParamSlot> simParams;
  HeapVector<ParamValue> simValues;
  HeapVector<CacheEntry> cacheEntries;   // by time
  bool cacheDirty = false;               // the release writes a new cache block
  HeapVector<std::int32_t> animatedIds;  // their order is the order of the keys
  std::int32_t maxParamId = -1;
  HeapVector<std::int32_t> restartIds;  // a change of these re-simulates from tick 0
  HeapVector<ValueKey> restartValues;   // what the simulation was run with; empty: not run yet
  std::uint64_t stamp = 0;              // as in the state
  double checkedTo = 0;                 // as in the state
  double startTime = 0;                 // ticks: where this command's steps begin
  bool released = false;                // abandoned or released: a later release does nothing

  std::uint32_t KeyBytesPerEntry() const { return static_cast<std::uint32_t>(animatedIds.size() * kValueKeyBytes); }
};

// Opens `stepper` on the call's sequence, making a state when there is none. `sample`: also read the cache, sample the
// parameters and cut cache and simulation back to the first tick where the host's values changed.
void OpenStepper(Stepper& stepper, bool sample);

// Hands everything back to the state. When the cache cannot be rewritten, the old one stays and the simulation is
// discarded, because the old cache does not describe the values it was run with; what failed is thrown (AllocFailed
// without memory) unless `duringFailure`, where an earlier failure or stop is the one to report.
void ReleaseStepper(Stepper& stepper, bool duringFailure);

// The failure path: discards list and snapshot, hands back the stored cache block unchanged and marks the stepper
// released.
void AbandonStepper(Stepper& stepper) noexcept;

// The numbered list at the top of sequence_state.h, on the record and on the list; checked in debug and sanitize
// builds.
void CheckInvariants(const Stepper& stepper) noexcept;

// List and snapshot with the ticks that say whether they are there.
void DiscardList(Stepper& stepper) noexcept;
void DiscardSnapshot(Stepper& stepper) noexcept;

// Set-up's registrations, on a new state: nothing is cached yet.
void RegisterAnimated(Stepper& stepper, std::int32_t id);
void RegisterRestart(Stepper& stepper, std::int32_t id);

// Opens a stepper, runs `work` on it, and releases it on every way out. Once the host has stopped the work its code is
// the result, whatever goes wrong after that.
template <typename Work>
std::int32_t WithStepper(EffectContext& context, bool sample, Work work) {
  Stepper stepper(context);
  try {
    OpenStepper(stepper, sample);
    const std::int32_t result = work(stepper);
    ReleaseStepper(stepper, result != 0);
    return result;
  } catch (...) {
    ReleaseStepper(stepper, true);
    if (context.aborted == 0) throw;
    return context.aborted;
  }
}

}  // namespace orvandel
