#include "stage/module/linked_effect.h"

#include <atomic>

#include "effect/platform/module_resource.h"
#include "stage/base/errors.h"

namespace orvandel::stage {
namespace {

std::span<const std::uint8_t> RegistrationResource() {
  const platform::ModuleHandle module = platform::KeptModuleHandle();
  const platform::ResourceHandle resource = platform::FindResourceA(module, ORV_REGISTRATION_ID, ORV_REGISTRATION_TYPE);
  if (resource == nullptr) return {};
  return {platform::LockResource(platform::LoadResource(module, resource)), platform::SizeofResource(module, resource)};
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
