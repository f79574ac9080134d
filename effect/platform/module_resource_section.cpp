#include <cstring>

#include "effect/platform/module_resource.h"
#include "orvandel/effect.h"

// Made by the build from effect/host/registration.txt; the directory stands first in the resource section.
struct OrvandelResourceSection;
extern "C" const OrvandelResourceSection orvandelModuleResources;

namespace orvandel::platform {
namespace {

ModuleHandle keptModule = reinterpret_cast<ModuleHandle>(&orvandelModuleResources);

const OrvResourceEntry& EntryOf(ResourceHandle resource) {
  return *reinterpret_cast<const OrvResourceEntry*>(resource);
}

}  // namespace

ModuleHandle KeptModuleHandle() { return keptModule; }
void KeepModuleHandle(ModuleHandle module) { keptModule = module; }

ResourceHandle FindResourceA(ModuleHandle module, std::uint16_t id, const char* type) {
  static constexpr char kEnd[4] = {};
  const auto* entry = reinterpret_cast<const OrvResourceEntry*>(module);
  for (; std::memcmp(entry->type, kEnd, 4) != 0; ++entry) {
    if (entry->id == id && std::memcmp(entry->type, type, 4) == 0) return reinterpret_cast<ResourceHandle>(entry);
  }
  return nullptr;
}

const void* LoadResource(ModuleHandle module, ResourceHandle resource) {
  return reinterpret_cast<const std::uint8_t*>(module) + EntryOf(resource).offset;
}

const std::uint8_t* LockResource(const void* loaded) { return static_cast<const std::uint8_t*>(loaded); }

std::uint32_t SizeofResource(ModuleHandle, ResourceHandle resource) { return EntryOf(resource).size; }

}  // namespace orvandel::platform
