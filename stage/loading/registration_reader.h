// The registration resource of a module file, read without loading the module.
//
// In: the path of a 64-bit little-endian ELF file. The section ORV_RESOURCE_SECTION starts with a directory of
// OrvResourceEntry records ended by one whose type is all zeros; the resource "PIPL" 16000 lies at its offset.
//
// Every length in the file is checked against what is there before it is used: the file may be damaged.
#pragma once

#include <filesystem>

#include "stage/module/registration.h"

namespace orvandel::stage {

// Throws WorkError with the file and what is wrong with it.
Registration ReadRegistration(const std::filesystem::path& moduleFile);

}  // namespace orvandel::stage
