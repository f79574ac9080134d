#include "stage/module/registration.h"

#include <cstring>

namespace orvandel::stage {

Registration::Registration(std::span<const std::uint8_t> resource) {
  struct Header {
    std::uint32_t vendor, key;
    std::int32_t id;
    std::uint32_t size;
  };
  constexpr const char* kShort = "a property runs past the end of the registration resource";
  if (resource.empty()) throw DamagedRegistration{kShort};
  std::size_t at = resource[0] == 0 ? 8 : 10;
  while (at < resource.size()) {
    Header header;
    if (resource.size() - at < sizeof header) throw DamagedRegistration{kShort};
    std::memcpy(&header, resource.data() + at, sizeof header);
    at += sizeof header;
    if (header.size > resource.size() - at) throw DamagedRegistration{kShort};
    const std::span data = resource.subspan(at, header.size);
    properties_.push_back({header.vendor, header.key, header.id, {data.begin(), data.end()}});
    at += (std::size_t{header.size} + 3) / 4 * 4;
  }
}

const RegistrationProperty* Registration::Find(const char (&key)[5]) const {
  std::uint32_t word = 0;
  for (int i = 0; i < 4; ++i) word = word << 8 | static_cast<std::uint8_t>(key[i]);
  for (const RegistrationProperty& property : properties_) {
    if (property.key == word) return &property;
  }
  return nullptr;
}

std::optional<std::string> Registration::Text(const char (&key)[5]) const {
  const RegistrationProperty* found = Find(key);
  if (found == nullptr || found->data.empty() || found->data[0] >= found->data.size()) return std::nullopt;
  return std::string(found->data.begin() + 1, found->data.begin() + 1 + found->data[0]);
}

std::optional<std::string> Registration::TerminatedText(const char (&key)[5]) const {
  const RegistrationProperty* found = Find(key);
  if (found == nullptr || found->data.empty()) return std::nullopt;
  const auto* end = static_cast<const std::uint8_t*>(std::memchr(found->data.data(), 0, found->data.size()));
  if (end == nullptr) return std::nullopt;
  return std::string(static_cast<const std::uint8_t*>(found->data.data()), end);
}

std::optional<std::uint32_t> Registration::Word(const char (&key)[5]) const {
  const RegistrationProperty* found = Find(key);
  std::uint32_t word = 0;
  if (found == nullptr || found->data.size() != sizeof word) return std::nullopt;
  std::memcpy(&word, found->data.data(), sizeof word);
  return word;
}

}  // namespace orvandel::stage
