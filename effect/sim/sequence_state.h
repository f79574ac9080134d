// What a sequence keeps between commands, in the block of the host's sequence-data handle; and the four sequence
// commands.
//
// Always true between commands, and at every step of the Stepper that works on it (CheckInvariants):
//   1. time is -1 exactly when list is null; otherwise list stands at that tick, which is not negative.
//   2. snapshotTime is -1 exactly when snapshotBlock is null; otherwise it is a whole tick, not negative.
//   3. cacheBlock, once set-up has run, holds the parameter lists and the values that list and snapshot were simulated
//      with: there is no list and no snapshot before there are entries. terms holds what they were made for.
//   4. The entries are in the order of their times, whole ticks; the first is at 0, or at the tick of a state that the
//      host kept (resume_points.h), and list and snapshot are not earlier. Restart values come with it.
//   5. Without entries there is no change stamp either; with one, checkedTo is a whole tick above 0.
//   6. What the state owns on the private heap is there: the state is registered while it has a list or traces.
// Nothing of it reaches a project: flatten and set-down both discard everything.
#pragma once

#include <cstdint>

#include "effect/host/effect_context.h"
#include "effect/sim/wave.h"

namespace orvandel {

class TraceMemory;

// What the waves of a sequence were made for, apart from the parameters' values: their times count in the time scale's
// unit, their points are fractions of the layer or the input, the quality decides how finely corners are rounded, and
// a blurred contour depends on how much empty space surrounds the source.
struct FrameTerms {
  std::int32_t timeScale, quality;
  std::int32_t layerWidth, layerHeight;
  std::int32_t inputWidth, inputHeight;    // 0 without a parameter array
  std::int32_t outputWidth, outputHeight;  // 0 without pixels
  std::int32_t originX, originY;
  double downsampleX, downsampleY;
  bool operator==(const FrameTerms&) const = default;
};

struct SequenceState {
  OrvHandle cacheBlock;     // the parameter-value cache in its byte form, or null
  double time;              // ticks
  WaveList* list;           // owned, on the private heap
  OrvHandle snapshotBlock;  // u32 byte count, then a wave list's bytes; or null
  double snapshotTime;      // ticks
  std::uint64_t stamp;      // the host's change stamp under which the cache was checked; 0: none
  double checkedTo;         // ticks: under that stamp, the first tick at which the cache has not been checked
  TraceMemory* traces;      // the contour traced last, on the private heap, or null; valid whatever else is discarded
  FrameTerms terms;         // of the last render
};

// Each returns 0; exceptions pass to the entry point.
std::int32_t SequenceSetUp(EffectContext& context);
std::int32_t SequenceReSetUp(EffectContext& context);
std::int32_t SequenceFlatten(EffectContext& context);
std::int32_t SequenceSetDown(EffectContext& context);

// The sequence's trace memory, made at first use.
TraceMemory& TracesOf(SequenceState& state);

// Runs set-up when the sequence has no state, or one that a failed set-up left without its parameter lists.
void EnsureSequence(EffectContext& context);

}  // namespace orvandel
