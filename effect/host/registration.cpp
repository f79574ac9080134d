#include "effect/host/registration.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "effect/host/messages.h"
#include "effect/host/strings.h"
#include "effect/platform/module_resource.h"

namespace orvandel {
namespace {

constexpr std::size_t kNameKeyBytes = 200;
char nameKey[kNameKeyBytes] = "";

// Keys as 32-bit little-endian words.
constexpr std::uint32_t kKeyName = 0x6E616D65;
constexpr std::uint32_t kKeyVersion = 0x65564552;       // 'eVER'
constexpr std::uint32_t kKeyGlobalFlags = 0x65474C4F;   // 'eGLO'
constexpr std::uint32_t kKeyGlobalFlags2 = 0x65474C32;  // 'eGL2'

constexpr std::size_t kPropertyHeaderBytes = 16;

std::uint32_t WordAt(const std::uint8_t* bytes) {
  return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
         static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

struct Property {
  const std::uint8_t* data = nullptr;  // null: no such property, size 0
  std::size_t size = 0;
};

// A property: vendor word, key, id, data length n (4 bytes each), n data bytes, zeros to a multiple of four. One that
// runs past the end of the resource counts as missing.
class PropertyList {
 public:
  PropertyList(const std::uint8_t* resource, std::size_t size) : resource_(resource), size_(size) {}

  Property Find(std::uint32_t key) const {
    std::size_t at = size_ > 0 && resource_[0] != 0 ? 10 : 8;
    while (at + kPropertyHeaderBytes <= size_) {
      const std::size_t size = WordAt(resource_ + at + 12);
      if (size > size_ - at - kPropertyHeaderBytes) return {};
      if (WordAt(resource_ + at + 4) == key) return {resource_ + at + kPropertyHeaderBytes, size};
      at += kPropertyHeaderBytes + (size + 3) / 4 * 4;
    }
    return {};
  }

 private:
  const std::uint8_t* resource_;
  std::size_t size_;
};

// Length-prefixed text; a name that does not fit is cut.
bool CopyName(const Property& name) {
  if (name.size == 0) return false;
  const std::size_t length = std::min<std::size_t>({name.data[0], name.size - 1, kNameKeyBytes - 1});
  std::memcpy(nameKey, name.data + 1, length);
  nameKey[length] = '\0';
  return true;
}

constexpr std::size_t kAboutBytes = sizeof(OrvOutRecord::message);

// printf's %ld (and %%) over the version's two numbers, and nothing else of printf: the text may be a translation, and
// a stray conversion in it must not reach beyond the arguments. What does not fit is cut.
void FormatVersion(const char* format, std::array<std::int32_t, 2> numbers, char (&text)[kAboutBytes]) {
  std::size_t length = 0;
  std::size_t used = 0;
  const auto append = [&](const char* part, std::size_t size) {
    const std::size_t taken = std::min(size, kAboutBytes - 1 - length);
    std::memcpy(text + length, part, taken);
    length += taken;
  };
  while (*format != '\0') {
    if (std::strncmp(format, "%ld", 3) == 0 && used < numbers.size()) {
      char digits[16];
      append(digits, static_cast<std::size_t>(std::snprintf(digits, sizeof(digits), "%d", numbers[used++])));
      format += 3;
    } else {
      append(format, 1);
      format += std::strncmp(format, "%%", 2) == 0 ? 2 : 1;
    }
  }
  text[length] = '\0';
}

}  // namespace

const char* NameKey() { return nameKey; }

std::int32_t ReadRegistration(EffectContext& context) {
  const platform::ModuleHandle module = platform::KeptModuleHandle();
  const platform::ResourceHandle resource = platform::FindResourceA(module, ORV_REGISTRATION_ID, ORV_REGISTRATION_TYPE);
  if (resource == nullptr) return ORV_INVALID_CALLBACK;
  const PropertyList properties(platform::LockResource(platform::LoadResource(module, resource)),
                                platform::SizeofResource(module, resource));
  if (!CopyName(properties.Find(kKeyName))) return ORV_INVALID_CALLBACK;
  const Property version = properties.Find(kKeyVersion);
  if (version.size != 4) return ORV_INVALID_CALLBACK;
  const Property flags = properties.Find(kKeyGlobalFlags);
  if (flags.size != 4) return ORV_INVALID_CALLBACK;
  const Property flags2 = properties.Find(kKeyGlobalFlags2);
  if (flags2.data != nullptr && flags2.size != 4) return ORV_INVALID_CALLBACK;
  context.outRecord->effectVersion = WordAt(version.data);
  context.outRecord->outFlags = WordAt(flags.data);
  context.outRecord->outFlags2 = flags2.data == nullptr ? 0 : WordAt(flags2.data);
  return ORV_OK;
}

std::int32_t CheckHostVersion(EffectContext& context) {
  const OrvInRecord& host = *context.inRecord;
  const double version = host.hostVersionMajor + host.hostVersionMinor / 100.0;
  if (version < 12.1) {
    SetMessage(*context.outRecord, GetString(context, kTextHostTooOld));
    return ORV_INVALID_CALLBACK;
  }
  return ORV_OK;
}

std::int32_t About(EffectContext& context) {
  char text[kAboutBytes];
  FormatVersion(GetString(context, kTextAbout), {1, 1}, text);
  SetMessage(*context.outRecord, text);
  return ORV_OK;
}

}  // namespace orvandel
