#include "effect/platform/wide_text.h"

#include <cstdlib>

#include "effect/base/errors.h"

namespace orvandel::platform {

void* Allocate(std::size_t bytes) noexcept { return std::malloc(bytes); }

void Dispose(void* block) noexcept { std::free(block); }

void* AllocateOrThrow(std::size_t bytes) {
  void* block = Allocate(bytes);
  if (block == nullptr) throw AllocFailed::ForBytes(bytes);
  return block;
}

WideString AsciiToUTF16(const char* text, std::size_t length) {
  WideString wide;
  for (std::size_t i = 0; i < length; ++i) wide.push_back(static_cast<unsigned char>(text[i]));
  return wide;
}

WideString ReplaceInString(const WideString& text, const std::array<WideString, 10>& arguments) {
  WideString result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t next = text[i + 1];  // after the last one, the NUL
    if (text[i] == u'@' && next >= u'0' && next <= u'9') {
      result += arguments[static_cast<std::size_t>(next - u'0')];
      ++i;
    } else {
      result.push_back(text[i]);
    }
  }
  return result;
}

}  // namespace orvandel::platform
