// The module's own resources, found without help from the operating system: they lie in a section of the module, headed
// by a directory (OrvResourceEntry), and are reached through the module handle kept when the module is loaded.
#pragma once

#include <cstdint>

#include "orvandel/effect.h"

namespace orvandel::platform {

// The module's resource directory in memory.
using ModuleHandle = const OrvResourceEntry*;

// The handle kept at load: the resource section that the build made, unless replaced.
ModuleHandle KeptModuleHandle();
void KeepModuleHandle(ModuleHandle module);

// Null when the module has no such resource.
const OrvResourceEntry* FindResourceA(ModuleHandle module, std::uint16_t id, const char* type);
const void* LoadResource(ModuleHandle module, const OrvResourceEntry* resource);
const std::uint8_t* LockResource(const void* loaded);
std::uint32_t SizeofResource(const OrvResourceEntry* resource);

}  // namespace orvandel::platform
