#include "stage/module/linked_effect.h"

#include <atomic>
#include <cstring>

#include "stage/base/errors.h"

// Made by the build; the directory stands first.
struct OrvandelResourceSection;
extern "C" const OrvandelResourceSection orvandelModuleResources;

namespace orvandel::stage {
namespace {

std::span<const std::uint8_t> RegistrationResource() {
  const auto* section = reinterpret_cast<const std::uint8_t*>(&orvandelModuleResources);
  for (std::size_t at = 0;; at += sizeof(OrvResourceEntry)) {
    OrvResourceEntry entry;
    std::memcpy(&entry, section + at, sizeof entry);
    constexpr char kEnd[4] = {};
    if (std::memcmp(entry.type, kEnd, 4) == 0) return {};
    if (std::memcmp(entry.type, ORV_REGISTRATION_TYPE, 4) == 0 && entry.id == ORV_REGISTRATION_ID) {
      return {section + entry.offset, entry.size};
    }
  }
}

std::atomic<bool> inUse = false;

class Linked final : public EffectLibrary {
 public:
  Linked() {
    if (inUse.exchange(true)) throw WorkError("the effect that is linked in is in use already");
  }
  ~Linked() override { inUse = false; }
  Linked(const Linked&) = delete;
  Linked& operator=(const Linked&) = delete;

  std::string Name() const override { return "the effect that is linked in"; }
  OrvPluginDataEntryFunction RegistrationEntry() const override { return PluginDataEntryFunction; }
  OrvFilterMain CommandEntry(const std::string& name) const override {
    return name == "FilterMain" ? FilterMain : nullptr;
  }
  Registration GetRegistration() const override {
    try {
      return Registration(RegistrationResource());
    } catch (const DamagedRegistration& damaged) {
      throw WorkError(Name() + ": " + damaged.reason);
    }
  }
};

}  // namespace

std::unique_ptr<EffectLibrary> LinkedEffect() { return std::make_unique<Linked>(); }

}  // namespace orvandel::stage
