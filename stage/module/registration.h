// The registration resource: identifies the effect without running it.
//
//   offset  width  meaning
//   0       1      0: the property list starts at 8; anything else: at 10
//   8 / 10         properties up to the resource's end, each
//     +0    4      vendor signature
//     +4    4      key, a four-character code as a little-endian word ('name' is 0x6E616D65)
//     +8    4      id
//     +12   4      n, the number of data bytes
//     +16   n      data, padded with zeros to a multiple of 4
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orvandel::stage {

struct RegistrationProperty {
  std::uint32_t vendor = 0;
  std::uint32_t key = 0;
  std::int32_t id = 0;
  std::vector<std::uint8_t> data;
};

class Registration {
 public:
  // Throws DamagedRegistration: every length is checked against what is there before it is used.
  explicit Registration(std::span<const std::uint8_t> resource);

  const std::vector<RegistrationProperty>& Properties() const { return properties_; }
  // By key, "name". Absent or of another form: nothing.
  std::optional<std::string> Text(const char (&key)[5]) const;            // length-prefixed with one byte
  std::optional<std::string> TerminatedText(const char (&key)[5]) const;  // ended by a NUL
  std::optional<std::uint32_t> Word(const char (&key)[5]) const;          // 32 bits, little-endian

 private:
  const RegistrationProperty* Find(const char (&key)[5]) const;
  std::vector<RegistrationProperty> properties_;
};

// Carries the reason to where the resource's origin is known.
struct DamagedRegistration {
  const char* reason;
};

}  // namespace orvandel::stage
