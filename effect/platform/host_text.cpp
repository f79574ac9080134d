#include "effect/platform/host_text.h"

#include <cstdint>
#include <cstring>

namespace orvandel::platform {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Decodes one UTF-8 character at `text` and moves past it; a malformed byte gives U+FFFD and is skipped alone.
char32_t NextCharacter(const char*& text) {
  const auto lead = static_cast<std::uint8_t>(*text++);
  if (lead < 0x80) return lead;
  if (lead < 0xC2 || lead >= 0xF5) return kReplacement;
  const int following = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  char32_t character = lead & (0x3FU >> following);
  for (int i = 0; i < following; ++i) {
    const auto byte = static_cast<std::uint8_t>(text[i]);
    if ((byte & 0xC0) != 0x80) return kReplacement;
    character = character << 6 | (byte & 0x3FU);
  }
  text += following;
  return character;
}

void AppendUtf8(ByteString& bytes, char32_t c) {
  const auto push = [&](char32_t value) { bytes.push_back(static_cast<char>(static_cast<unsigned char>(value))); };
  if (c < 0x80) {
    push(c);
  } else if (c < 0x800) {
    push(0xC0 | c >> 6);
    push(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    push(0xE0 | c >> 12);
    push(0x80 | (c >> 6 & 0x3F));
    push(0x80 | (c & 0x3F));
  } else {
    push(0xF0 | c >> 18);
    push(0x80 | (c >> 12 & 0x3F));
    push(0x80 | (c >> 6 & 0x3F));
    push(0x80 | (c & 0x3F));
  }
}

}  // namespace

WideString Lq_ZStringToUTF16String(const char* key) {
  const char* text = key;
  if (std::strncmp(key, "$$$/", 4) == 0) {
    const char* equals = std::strchr(key, '=');
    text = equals == nullptr ? key : equals + 1;
  }
  WideString wide;
  while (*text != '\0') {
    const char32_t c = NextCharacter(text);
    if (c < 0x10000) {
      wide.push_back(static_cast<char16_t>(c));
    } else {
      wide.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
      wide.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
    }
  }
  return wide;
}

ByteString Lq_UTF16ToMBString(const WideString& wide, bool /*useSystemCodePage*/) {
  ByteString bytes;
  for (std::size_t i = 0; i < wide.size(); ++i) {
    char32_t c = wide[i];
    const char16_t next = wide[i + 1];  // after the last one, the NUL
    const bool paired = c >= 0xD800 && c < 0xDC00 && next >= 0xDC00 && next < 0xE000;
    if (paired) {
      c = 0x10000 + ((c & 0x3FF) << 10) + (next & 0x3FF);
      ++i;
    } else if (c >= 0xD800 && c < 0xE000) {
      c = kReplacement;
    }
    AppendUtf8(bytes, c);
  }
  return bytes;
}

void Lq_CopyString(const char* source, std::size_t fieldBytes, char* destination) noexcept {
  std::size_t length = strnlen(source, fieldBytes);
  if (length >= fieldBytes) {
    length = fieldBytes - 1;
    while (length > 0 && (static_cast<std::uint8_t>(source[length]) & 0xC0) == 0x80) --length;
  }
  std::memcpy(destination, source, length);
  destination[length] = '\0';
}

}  // namespace orvandel::platform
