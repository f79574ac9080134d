// Messages in the host's out-record: 255 bytes of UTF-8 and a NUL, cut at a character boundary.
#pragma once

#include "effect/base/errors.h"
#include "orvandel/host.h"

namespace orvandel {

void SetMessage(OrvOutRecord& outRecord, const char* text) noexcept;

// "@0: Insufficient free memory (unable to allocate @1 bytes)", or without the count when it is not known; sets the
// error-message flag. Without memory for the message the field stays empty; the flag is set nevertheless.
void SetOutOfMemoryMessage(OrvOutRecord& outRecord, const AllocFailed& failure) noexcept;

// "@0: Internal Error", likewise.
void SetInternalErrorMessage(OrvOutRecord& outRecord) noexcept;

}  // namespace orvandel
