// The registration resource of a module file, read without loading the module.
//
// In: the path of a 64-bit little-endian ELF file. The section ORV_RESOURCE_SECTION starts with a directory of
// OrvResourceEntry records ended by one whose type is all zeros; the resource "PIPL" 16000 lies at its offset.
//
// Every length in the file is checked against what is there before it is used: the file may be damaged.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include "stage/module/registration.h"

namespace orvandel::stage {

// Throws WorkError with the file and what is wrong with it.
Registration ReadRegistration(const std::filesystem::path& moduleFile);
// The same from the bytes of a module file; `name` is for complaints.
Registration ReadRegistration(std::span<const std::uint8_t> module, const std::string& name);

}  // namespace orvandel::stage
