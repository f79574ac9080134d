#include "effect/platform/module_resource.h"

#include <cstring>

// Made by the build from effect/host/registration.txt; the directory stands first in the resource section.
struct OrvandelResourceSection;
extern "C" const OrvandelResourceSection orvandelModuleResources;

namespace orvandel::platform {
namespace {

ModuleHandle keptModule = reinterpret_cast<ModuleHandle>(&orvandelModuleResources);

}  // namespace

ModuleHandle KeptModuleHandle() { return keptModule; }
void KeepModuleHandle(ModuleHandle module) { keptModule = module; }

const OrvResourceEntry* FindResourceA(ModuleHandle module, std::uint16_t id, const char* type) {
  static constexpr char kEnd[4] = {};
  for (const OrvResourceEntry* entry = module; std::memcmp(entry->type, kEnd, 4) != 0; ++entry) {
    if (entry->id == id && std::memcmp(entry->type, type, 4) == 0) return entry;
  }
  return nullptr;
}

const void* LoadResource(ModuleHandle module, const OrvResourceEntry* resource) {
  return reinterpret_cast<const std::uint8_t*>(module) + resource->offset;
}

const std::uint8_t* LockResource(const void* loaded) { return static_cast<const std::uint8_t*>(loaded); }

std::uint32_t SizeofResource(const OrvResourceEntry* resource) { return resource->size; }

}  // namespace orvandel::platform
