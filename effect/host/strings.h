// The effect's texts: one table of 61, looked up through the host by number.
#pragma once

#include <cstdint>

#include "effect/host/effect_context.h"

namespace orvandel {

enum StringId : std::int32_t {
  kTextAbout = 0,
  kTextOpenPath = 59,
  kTextHostTooOld = 60,
};

// Passed to the host when the table is opened.
OrvStringsRef StringTableAddress();

// The text in the host's language. It belongs to the host: copy what you keep. Never null.
const char* GetString(const EffectContext& context, std::int32_t id);

}  // namespace orvandel
