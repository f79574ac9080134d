// Which parameters are active: those of the selected wave type. A change of Wave Type itself also opens the selected
// type's group and closes the other two.
#pragma once

#include <cstdint>

#include "effect/host/effect_context.h"

namespace orvandel {

// `changedId`: logical id of the changed parameter, -1 when none is known. Sends all 17 updates whatever changed.
// Returns 0.
std::int32_t UpdateParamUI(EffectContext& context, std::int32_t changedId);

}  // namespace orvandel
