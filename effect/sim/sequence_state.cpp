#include "effect/sim/sequence_state.h"

#include <new>

#include "effect/base/heap_containers.h"
#include "effect/params/param_ids.h"
#include "effect/sim/state_register.h"
#include "effect/sim/stepper.h"
#include "effect/sim/trace_memory.h"

namespace orvandel {
namespace {

// The size on 64-bit targets. The block holds pointers, and no other target ever sees it.
static_assert(sizeof(void*) != 8 || sizeof(SequenceState) == 120);

// The order of registration fixes the order of the values in every cache entry; restart parameters stand between.
struct Registration {
  ParamId id;
  bool restarts;
};
constexpr Registration kRegistrations[] = {
    {kProducerPoint, false}, {kWaveType, false},     {kExpansion, false},   {kFrequency, false},
    {kDirection, false},     {kVelocity, false},     {kSpin, false},        {kOrientation, false},
    {kStartWidth, false},    {kEndWidth, false},     {kSides, false},       {kCurveSize, false},
    {kCurvyness, false},     {kStar, false},         {kStarDepth, false},   {kContour, false},
    {kSourceCenter, false},  {kValueChannel, false}, {kInvertInput, false}, {kValueThreshold, false},
    {kPreBlur, false},       {kTolerance, false},    {kSourceLayer, true},  {kLifespan, false},
    {kFadeInTime, false},    {kFadeOutTime, false},  {kColor, false},       {kProfile, false},
    {kOpacity, false},       {kSetAt, true},
};

void DiscardTraces(SequenceState& state) {
  if (state.traces == nullptr) return;
  state.traces->~TraceMemory();
  heap::Free(state.traces);
  state.traces = nullptr;
}

std::int32_t DisposeSequence(EffectContext& context) {
  return WithStepper(context, false, [&](Stepper& stepper) {
    const OrvUtilities& utilities = *context.inRecord->utilities;
    DiscardList(stepper);
    if (stepper.cacheBlock != nullptr) {
      utilities.unlockHandle(stepper.cacheBlock);
      utilities.disposeHandle(stepper.cacheBlock);
      stepper.cacheBlock = nullptr;
      stepper.cacheAddress = nullptr;
    }
    DiscardSnapshot(stepper);
    DiscardTraces(*stepper.state);
    Unregister(*stepper.state);
    stepper.state = nullptr;
    const OrvHandle handle = context.inRecord->sequenceData;
    utilities.unlockHandle(handle);
    utilities.disposeHandle(handle);
    context.outRecord->sequenceData = nullptr;
    context.inRecord->sequenceData = nullptr;
    return ORV_OK;
  });
}

}  // namespace

std::int32_t SequenceSetUp(EffectContext& context) {
  if (context.inRecord->sequenceData != nullptr) DisposeSequence(context);
  return WithStepper(context, true, [](Stepper& stepper) {
    try {
      for (const Registration& registration : kRegistrations) {
        if (registration.restarts) {
          RegisterRestart(stepper, registration.id);
        } else {
          RegisterAnimated(stepper, registration.id);
        }
      }
    } catch (...) {
      AbandonStepper(stepper);
      throw;
    }
    return ORV_OK;
  });
}

std::int32_t SequenceReSetUp(EffectContext& context) {
  return context.inRecord->sequenceData == nullptr ? SequenceSetUp(context) : ORV_OK;
}

std::int32_t SequenceFlatten(EffectContext& context) { return DisposeSequence(context); }

std::int32_t SequenceSetDown(EffectContext& context) { return DisposeSequence(context); }

TraceMemory& TracesOf(SequenceState& state) {
  if (state.traces == nullptr) state.traces = ::new (HeapAllocateOrThrow(sizeof(TraceMemory))) TraceMemory;
  return *state.traces;
}

void EnsureSequence(EffectContext& context) {
  const OrvHandle handle = context.inRecord->sequenceData;
  const bool ready = handle != nullptr && static_cast<SequenceState*>(*handle)->cacheBlock != nullptr;
  if (!ready) SequenceSetUp(context);
}

}  // namespace orvandel
