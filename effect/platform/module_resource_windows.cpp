#include <windows.h>

#include "effect/platform/module_resource.h"

// The start of the module that this code is in, which is also its handle; so the loader need not be asked for it.
extern "C" const IMAGE_DOS_HEADER __ImageBase;  // NOLINT(bugprone-reserved-identifier): the linker's name

namespace orvandel::platform {
namespace {

ModuleHandle keptModule = reinterpret_cast<ModuleHandle>(&__ImageBase);

HMODULE SystemHandle(ModuleHandle module) { return reinterpret_cast<HMODULE>(const_cast<Module*>(module)); }
HRSRC SystemHandle(ResourceHandle resource) { return reinterpret_cast<HRSRC>(const_cast<Resource*>(resource)); }

}  // namespace

ModuleHandle KeptModuleHandle() { return keptModule; }
void KeepModuleHandle(ModuleHandle module) { keptModule = module; }

ResourceHandle FindResourceA(ModuleHandle module, std::uint16_t id, const char* type) {
  return reinterpret_cast<ResourceHandle>(::FindResourceA(SystemHandle(module), MAKEINTRESOURCEA(id), type));
}

const void* LoadResource(ModuleHandle module, ResourceHandle resource) {
  return ::LoadResource(SystemHandle(module), SystemHandle(resource));
}

const std::uint8_t* LockResource(const void* loaded) {
  return static_cast<const std::uint8_t*>(::LockResource(const_cast<void*>(loaded)));
}

std::uint32_t SizeofResource(ModuleHandle module, ResourceHandle resource) {
  return ::SizeofResource(SystemHandle(module), SystemHandle(resource));
}

}  // namespace orvandel::platform
