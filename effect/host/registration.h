// The effect's identity: the registration entry's values, the registration resource as global set-up reads it, the
// check of the host's version, and the about text.
#pragma once

#include <cstdint>

#include "effect/host/effect_context.h"

namespace orvandel {

// Global set-up, first half: the effect's version word and flags from the registration resource into the out-record,
// its name into the module's name key. 512 when the resource or one of its properties is missing or malformed.
std::int32_t ReadRegistration(EffectContext& context);

// Global set-up, second half: 512 and a message for hosts older than 12.1.
std::int32_t CheckHostVersion(EffectContext& context);

// "Orvandel, v1.1", two line-break tokens and the description, into the message field. Returns 0.
std::int32_t About(EffectContext& context);

// The name property's text; empty until global set-up has read it.
const char* NameKey();

}  // namespace orvandel
