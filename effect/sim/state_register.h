// Which sequence states own memory on the private heap in force.
//
// A state lies in host memory and can outlive the heap that its list and traces were allocated from: the host may end
// the instance before the sequence, or end another instance of the module, which shares the heap. Such a state's
// pointers dangle. The register lies on the heap itself and disappears with it, so a state that is not in it owns
// nothing.
#pragma once

#include "effect/sim/sequence_state.h"

namespace orvandel {

bool IsRegistered(const SequenceState& state) noexcept;
void Register(const SequenceState& state);  // once; AllocFailed
void Unregister(const SequenceState& state) noexcept;

}  // namespace orvandel
