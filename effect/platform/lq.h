// Text conversions as the Lq library offers them. Multibyte text is UTF-8.
#pragma once

#include <cstddef>

#include "effect/platform/zintrel.h"

namespace orvandel::lq {

// The display text of a key "$$$/path=English text": what follows the first "=" (no translations are installed here). A
// text that is not a key is shown as it is.
zintrel::WideString Lq_ZStringToUTF16String(const char* key);

// Lone surrogates become U+FFFD. `useSystemCodePage` is not supported: text is always UTF-8.
zintrel::ByteString Lq_UTF16ToMBString(const zintrel::WideString& wide, bool useSystemCodePage);

// Copies into a field of `fieldBytes` bytes: cut at a character boundary, always ended by a NUL.
void Lq_CopyString(const char* source, std::size_t fieldBytes, char* destination) noexcept;

}  // namespace orvandel::lq
