// Text between the host and the effect: display texts of keys, UTF-8 to UTF-16 and back, fields of a fixed length.
#pragma once

#include <cstddef>

#include "effect/platform/wide_text.h"

namespace orvandel::platform {

// The display text of a key "$$$/path=English text": what follows the first "=" (no translations are installed here). A
// text that is not a key is shown as it is.
WideString Lq_ZStringToUTF16String(const char* key);

// Lone surrogates become U+FFFD. `useSystemCodePage` is not supported: text is always UTF-8.
ByteString Lq_UTF16ToMBString(const WideString& wide, bool useSystemCodePage);

// Copies into a field of `fieldBytes` bytes: cut at a character boundary, always ended by a NUL.
void Lq_CopyString(const char* source, std::size_t fieldBytes, char* destination) noexcept;

}  // namespace orvandel::platform
