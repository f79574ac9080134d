// Compiles the list of registration properties (effect/host/registration.txt) into a C++ source that places them in the
// module's resource section, or into the resource's bytes.   usage: registration_compiler PROPERTIES
// OUTPUT.cpp|OUTPUT.bin
//
// The resource: an 8-byte header (four zero bytes, property count as a 32-bit number), then the properties, each a
// vendor word, a key, an id (0), a data length n and n data bytes padded with zeros to a multiple of four. All
// little-endian; keys and codes are stored as 32-bit words, so their characters stand reversed in memory.
#include <cstdint>
#include <exception>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr std::uint32_t kVendorWord = 0x4F52564E;  // 'ORVN'

void AppendNumber(Bytes& bytes, std::uint64_t value, int width) {
  for (int i = 0; i < width; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

std::uint32_t CodeWord(const std::string& code) {
  if (code.size() != 4) throw std::runtime_error("'" + code + "' is not a four-character code");
  std::uint32_t word = 0;
  for (const char c : code) word = word << 8 | static_cast<std::uint8_t>(c);
  return word;
}

std::string Unquoted(const std::string& text) {
  if (text.size() < 2 || text.front() != '"' || text.back() != '"') throw std::runtime_error(text + " is not quoted");
  return text.substr(1, text.size() - 2);
}

Bytes TextBytes(const std::string& text) {
  if (text.size() > 255) throw std::runtime_error("a length-prefixed text holds at most 255 bytes");
  Bytes bytes{static_cast<std::uint8_t>(text.size())};
  bytes.insert(bytes.end(), text.begin(), text.end());
  return bytes;
}

// NUL-terminated, padded inside the property to a multiple of four.
Bytes TerminatedBytes(const std::string& text) {
  Bytes bytes(text.begin(), text.end());
  do bytes.push_back(0);
  while (bytes.size() % 4 != 0);
  return bytes;
}

Bytes VersionBytes(const std::string& value) {
  const auto dot = value.find('.');
  if (dot == std::string::npos) throw std::runtime_error(value + " is not a version, major.minor");
  Bytes bytes;
  AppendNumber(bytes, std::stoul(value.substr(0, dot)), 2);
  AppendNumber(bytes, std::stoul(value.substr(dot + 1)), 2);
  return bytes;
}

Bytes DataBytes(const std::string& form, const std::string& value) {
  if (form == "text") return TextBytes(Unquoted(value));
  if (form == "ztext") return TerminatedBytes(Unquoted(value));
  if (form == "version") return VersionBytes(value);
  Bytes bytes;
  if (form == "code") {
    AppendNumber(bytes, CodeWord(value), 4);
  } else if (form == "u16" || form == "u32") {
    AppendNumber(bytes, std::stoul(value, nullptr, 0), form == "u16" ? 2 : 4);
  } else {
    throw std::runtime_error("unknown form '" + form + "'");
  }
  return bytes;
}

Bytes CompileResource(std::istream& properties) {
  Bytes list;
  std::uint32_t count = 0;
  for (std::string line; std::getline(properties, line);) {
    std::istringstream fields(line);
    std::string key, form, value;
    if (!(fields >> key) || key[0] == '#') continue;
    fields >> form >> std::ws;
    std::getline(fields, value);
    const Bytes data = DataBytes(form, value);
    AppendNumber(list, kVendorWord, 4);
    AppendNumber(list, CodeWord(key), 4);
    AppendNumber(list, 0, 4);
    AppendNumber(list, data.size(), 4);
    list.insert(list.end(), data.begin(), data.end());
    list.resize((list.size() + 3) / 4 * 4);
    ++count;
  }
  Bytes resource;
  AppendNumber(resource, 0, 4);
  AppendNumber(resource, count, 4);
  resource.insert(resource.end(), list.begin(), list.end());
  return resource;
}

void WriteSource(std::ostream& out, const Bytes& resource) {
  out << "// Made by registration_compiler; edit effect/host/registration.txt instead.\n"
         "#include <cstdint>\n\n#include \"orvandel/effect.h\"\n\n"
         "struct OrvandelResourceSection {\n  OrvResourceEntry directory[2];\n  std::uint8_t registration["
      << resource.size()
      << "];\n};\n\n"
         "extern \"C\" const OrvandelResourceSection orvandelModuleResources\n"
         "    __attribute__((section(\"orvandel_rsrc\"), used, visibility(\"hidden\"))) = {\n"
         "    {{{'P', 'I', 'P', 'L'}, ORV_REGISTRATION_ID, 1033, sizeof(OrvResourceEntry) * 2, "
      << resource.size() << "}, {{0, 0, 0, 0}, 0, 0, 0, 0}},\n    {";
  for (const std::uint8_t byte : resource) out << static_cast<int>(byte) << ", ";
  out << "}};\n";
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc != 3) throw std::runtime_error("usage: registration_compiler PROPERTIES OUTPUT.cpp");
    std::ifstream properties(argv[1]);
    if (!properties) throw std::runtime_error(std::string("cannot read ") + argv[1]);
    const Bytes resource = CompileResource(properties);
    const std::string name = argv[2];
    std::ofstream out(name, std::ios::binary);
    if (name.ends_with(".cpp")) {
      WriteSource(out, resource);
    } else {
      out.write(reinterpret_cast<const char*>(resource.data()), static_cast<std::streamsize>(resource.size()));
    }
    if (!out.flush()) throw std::runtime_error(std::string("cannot write ") + argv[2]);
  } catch (const std::exception& failure) {
    std::cerr << "registration_compiler: " << failure.what() << '\n';
    return 1;
  }
}
