// Emission and time stepping: brings a sequence's wave list to the frame's time, from the live list, the resume
// snapshot or tick 0, in steps of 1/30 second.
#pragma once

#include "effect/sim/stepper.h"

namespace orvandel {

// The list at stepper.target; earlier, at a whole tick, when the host stopped the work (abortCode); null when there is
// none. On an exception the stepper has been abandoned: the next render starts afresh.
WaveList* AdvanceToFrame(Stepper& stepper);

// Advances the list by `span` ticks. `done` and `total`: steps of this render, for the host's progress report.
void RunSteps(Stepper& stepper, double span, double& done, double total);

// One step: ages, moves and refreshes the waves, and gives birth to new ones. `values`: by logical id.
void SimulateStep(WaveList& list, double startSeconds, double stepSeconds, const ParamValue* values,
                  const EffectContext& context);

}  // namespace orvandel
