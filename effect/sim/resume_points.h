// States of the simulation that the host keeps (OrvResumePointsService): offered at whole ticks, gone back to when one
// lies nearer to a frame than what the sequence itself still has. A host without the service or without a change stamp
// has none.
#pragma once

#include "effect/sim/stepper.h"

namespace orvandel {

// At a whole tick. The host may decline: no frame depends on it.
void OfferResumePoint(Stepper& stepper);

// The tick of the latest state at or before a tick that was kept under the host's promise of now; -1: none. Whether
// its waves are whole shows when it is read.
double LatestResumeTick(Stepper& stepper, double atOrBefore);

// Reads that state into `kept` and returns its tick; -1: there is none later than `best`.
double ReadResumePoint(Stepper& stepper, double best, double atOrBefore, WaveList& kept);

}  // namespace orvandel
