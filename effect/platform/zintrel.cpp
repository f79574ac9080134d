#include "effect/platform/zintrel.h"

#include <cstdlib>

#include "effect/base/errors.h"

namespace orvandel::zintrel {

void* Allocate(std::size_t bytes) noexcept { return std::malloc(bytes == 0 ? 1 : bytes); }

void Dispose(void* block) noexcept { std::free(block); }

void* AllocateOrThrow(std::size_t bytes) {
  void* block = Allocate(bytes);
  if (block == nullptr) throw AllocFailed::ForBytes(bytes);
  return block;
}

WideString AsciiToUTF16(const char* text, std::size_t length) {
  WideString wide;
  wide.reserve(length);
  for (std::size_t i = 0; i < length; ++i) wide.push_back(static_cast<unsigned char>(text[i]));
  return wide;
}

WideString ReplaceInString(const WideString& text, const std::array<WideString, 10>& arguments) {
  WideString result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool placeholder = text[i] == u'@' && i + 1 < text.size() && text[i + 1] >= u'0' && text[i + 1] <= u'9';
    if (placeholder) {
      result += arguments[static_cast<std::size_t>(text[++i] - u'0')];
    } else {
      result.push_back(text[i]);
    }
  }
  return result;
}

}  // namespace orvandel::zintrel
