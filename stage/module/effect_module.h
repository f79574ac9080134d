// The effect as a module: identity, parameters, commands.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "stage/module/effect_library.h"
#include "stage/scene/param_catalog.h"

namespace orvandel::stage {

struct Identity {
  std::string name;  // display text
  std::string matchName;
  std::string category;  // display text
  std::string entryPoint;
  std::uint32_t kind = 0;
  std::uint32_t flags = 0;
  std::int32_t interfaceMajor = 0, interfaceMinor = 0;
  std::uint32_t effectVersion = 0, outFlags = 0, outFlags2 = 0;  // from global set-up
  std::string about;                                             // line breaks resolved
};

class EffectModule {
 public:
  // Asks the registration entry for the command entry point, compares that identity with the registration resource,
  // runs global and parameter set-up. Throws WorkError.
  explicit EffectModule(std::unique_ptr<EffectLibrary> library);
  // SetDown, unless that has been done; then unloads the library. An unbalanced ledger is reported on standard error.
  ~EffectModule();
  EffectModule(const EffectModule&) = delete;
  EffectModule& operator=(const EffectModule&) = delete;

  const Identity& GetIdentity() const;
  const ParamCatalog& Catalog() const;
  // Ways in which the registration entry and the resource disagree; empty: none.
  const std::vector<std::string>& Complaints() const;

  // Global set-down and the ledger's last check, for callers who want to know: throws WorkError. No command afterwards.
  void SetDown();

  struct Impl;
  Impl& Internals() { return *impl_; }  // for the rest of the stage

 private:
  std::unique_ptr<Impl> impl_;
};

}  // namespace orvandel::stage
