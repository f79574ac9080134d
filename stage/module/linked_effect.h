// The effect as a part of the program itself, for systems without loadable modules.
#pragma once

#include <memory>

#include "stage/module/effect_library.h"

namespace orvandel::stage {

// The effect keeps module-wide state without a lock, and a linked program holds it once: WorkError while another one
// lives. Several at once need a loader's private copies, or an instance of the whole program each (as wasm has them).
std::unique_ptr<EffectLibrary> LinkedEffect();

}  // namespace orvandel::stage
