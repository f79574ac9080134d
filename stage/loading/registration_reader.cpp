#include "stage/loading/registration_reader.h"

#include <elf.h>

#include <cstring>
#include <fstream>
#include <span>

#include "orvandel/effect.h"
#include "stage/base/errors.h"

namespace orvandel::stage {
namespace {

using Bytes = std::span<const std::uint8_t>;

Bytes Part(Bytes whole, std::uint64_t offset, std::uint64_t size, const char* reasonWhenOutside) {
  if (offset > whole.size() || size > whole.size() - offset) throw DamagedRegistration{reasonWhenOutside};
  return whole.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(size));
}

template <typename Record>
Record ReadRecord(Bytes whole, std::uint64_t offset, const char* reasonWhenOutside) {
  Record record;
  std::memcpy(&record, Part(whole, offset, sizeof record, reasonWhenOutside).data(), sizeof record);
  return record;
}

std::vector<std::uint8_t> ReadWholeFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary | std::ios::ate);
  std::vector<std::uint8_t> bytes;
  const std::streamoff size = in ? static_cast<std::streamoff>(in.tellg()) : -1;
  if (size > 0) {
    bytes.resize(static_cast<std::size_t>(size));
    in.seekg(0).read(reinterpret_cast<char*>(bytes.data()), size);
  }
  if (!in || bytes.empty()) throw DamagedRegistration{"cannot be read"};
  return bytes;
}

Elf64_Shdr SectionHeader(Bytes file, const Elf64_Ehdr& header, std::uint32_t index) {
  const std::uint64_t within = std::uint64_t{index} * sizeof(Elf64_Shdr);
  if (header.e_shoff > file.size()) throw DamagedRegistration{"the section table lies outside the file"};
  return ReadRecord<Elf64_Shdr>(file, header.e_shoff + within, "the section table lies outside the file");
}

// The text at `offset` of the table of section names, compared in place: a damaged table need not end in a NUL.
bool NameIs(Bytes names, std::uint32_t offset, const char* wanted) {
  const std::size_t length = std::strlen(wanted) + 1;
  return offset < names.size() && names.size() - offset >= length &&
         std::memcmp(names.data() + offset, wanted, length) == 0;
}

Bytes FindSection(Bytes file, const char* name) {
  const auto header = ReadRecord<Elf64_Ehdr>(file, 0, "is not an ELF file");
  const bool readable = std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 && header.e_ident[EI_CLASS] == ELFCLASS64 &&
                        header.e_ident[EI_DATA] == ELFDATA2LSB;
  if (!readable) throw DamagedRegistration{"is not a 64-bit little-endian ELF file"};
  if (header.e_shentsize != sizeof(Elf64_Shdr) || header.e_shstrndx >= header.e_shnum) {
    throw DamagedRegistration{"has no usable section table"};
  }
  const Elf64_Shdr nameTable = SectionHeader(file, header, header.e_shstrndx);
  const Bytes names = Part(file, nameTable.sh_offset, nameTable.sh_size, "the section names lie outside the file");
  for (std::uint32_t i = 0; i < header.e_shnum; ++i) {
    const Elf64_Shdr section = SectionHeader(file, header, i);
    if (section.sh_type == SHT_NOBITS || !NameIs(names, section.sh_name, name)) continue;
    return Part(file, section.sh_offset, section.sh_size, "the registration section lies outside the file");
  }
  throw DamagedRegistration{"has no registration section"};
}

Bytes FindResource(Bytes section, const char* type, std::uint16_t id) {
  for (std::uint64_t at = 0;; at += sizeof(OrvResourceEntry)) {
    const auto entry = ReadRecord<OrvResourceEntry>(section, at, "the resource directory has no end");
    constexpr char kEnd[4] = {};
    if (std::memcmp(entry.type, kEnd, 4) == 0) throw DamagedRegistration{"has no registration resource"};
    if (std::memcmp(entry.type, type, 4) != 0 || entry.id != id) continue;
    return Part(section, entry.offset, entry.size, "the registration resource lies outside its section");
  }
}

}  // namespace

Registration ReadRegistration(const std::filesystem::path& moduleFile) {
  try {
    const std::vector<std::uint8_t> file = ReadWholeFile(moduleFile);
    return ReadRegistration(file, moduleFile.string());
  } catch (const DamagedRegistration& damaged) {
    throw WorkError(moduleFile.string() + ": " + damaged.reason);
  }
}

Registration ReadRegistration(std::span<const std::uint8_t> module, const std::string& name) {
  try {
    const Bytes section = FindSection(module, ORV_RESOURCE_SECTION);
    return Registration(FindResource(section, ORV_REGISTRATION_TYPE, ORV_REGISTRATION_ID));
  } catch (const DamagedRegistration& damaged) {
    throw WorkError(name + ": " + damaged.reason);
  }
}

}  // namespace orvandel::stage
