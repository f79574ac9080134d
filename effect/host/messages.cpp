#include "effect/host/messages.h"

#include <array>
#include <cstdio>
#include <cstring>

#include "effect/host/registration.h"
#include "effect/platform/host_text.h"
#include "effect/platform/wide_text.h"
#include "orvandel/effect.h"

namespace orvandel {
namespace {

constexpr char kLongOutOfMemory[] =
    "$$$/yq/effects/halvick/LongOutOfMemory=@0: Insufficient free memory (unable to allocate @1 bytes)";
constexpr char kShortOutOfMemory[] = "$$$/yq/effects/halvick/ShortOutOfMemory=@0: Insufficient free memory";
constexpr char kInternalError[] = "$$$/yq/effects/halvick/InternalError=@0: Internal Error";

void SetFailureMessage(OrvOutRecord& outRecord, const char* key, const char* count) noexcept {
  outRecord.outFlags |= ORV_OUT_ERROR_MESSAGE;
  outRecord.message[0] = '\0';
  try {
    std::array<platform::WideString, 10> arguments;
    arguments[0] = platform::Lq_ZStringToUTF16String(NameKey());
    arguments[1] = platform::AsciiToUTF16(count, std::strlen(count));
    const auto text = platform::ReplaceInString(platform::Lq_ZStringToUTF16String(key), arguments);
    SetMessage(outRecord, platform::Lq_UTF16ToMBString(text, false).c_str());
  } catch (...) {
    // No memory for the message either; the code still says what happened.
  }
}

}  // namespace

void SetMessage(OrvOutRecord& outRecord, const char* text) noexcept {
  platform::Lq_CopyString(text, sizeof(outRecord.message), outRecord.message);
}

void SetOutOfMemoryMessage(OrvOutRecord& outRecord, const AllocFailed& failure) noexcept {
  char count[32] = "";
  if (failure.size == -1) {
    SetFailureMessage(outRecord, kShortOutOfMemory, count);
    return;
  }
  std::snprintf(count, sizeof(count), "%lli", static_cast<long long>(failure.size));
  SetFailureMessage(outRecord, kLongOutOfMemory, count);
}

void SetInternalErrorMessage(OrvOutRecord& outRecord) noexcept { SetFailureMessage(outRecord, kInternalError, ""); }

}  // namespace orvandel
