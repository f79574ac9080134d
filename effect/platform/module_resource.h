// The module's own resources: found, loaded and locked through the module handle kept when the module is loaded. One
// implementation per kind of system: Windows has such calls itself; elsewhere the resources lie in a section of the
// module, headed by a directory (OrvResourceEntry).
#pragma once

#include <cstdint>

namespace orvandel::platform {

using ModuleHandle = const struct Module*;
using ResourceHandle = const struct Resource*;

// The handle kept at load, unless replaced.
ModuleHandle KeptModuleHandle();
void KeepModuleHandle(ModuleHandle module);

// Null when the module has no such resource.
ResourceHandle FindResourceA(ModuleHandle module, std::uint16_t id, const char* type);
const void* LoadResource(ModuleHandle module, ResourceHandle resource);
const std::uint8_t* LockResource(const void* loaded);
std::uint32_t SizeofResource(ModuleHandle module, ResourceHandle resource);

}  // namespace orvandel::platform
