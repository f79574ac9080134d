// The effect's module as it lies in the plug-in's own file: a private one for everybody who asks.
#pragma once

#include <memory>

#include "stage/module/effect_library.h"

namespace orvandel::bridge {

// Any thread may call it. Throws WorkError.
std::unique_ptr<stage::EffectLibrary> BuiltInEffect();

}  // namespace orvandel::bridge
