// A loaded module as an EffectLibrary, as far as the systems' loaders do not differ.
#pragma once

#include <string>
#include <utility>

#include "stage/module/effect_library.h"

namespace orvandel::stage {

inline constexpr const char* kBuiltInName = "the built-in effect";

class LoadedCode : public EffectLibrary {
 public:
  LoadedCode(const LoadedCode&) = delete;
  LoadedCode& operator=(const LoadedCode&) = delete;

  std::string Name() const final { return name_; }
  OrvPluginDataEntryFunction RegistrationEntry() const final {
    return reinterpret_cast<OrvPluginDataEntryFunction>(Symbol("PluginDataEntryFunction"));
  }
  OrvFilterMain CommandEntry(const std::string& name) const final {
    return reinterpret_cast<OrvFilterMain>(Symbol(name.c_str()));
  }

 protected:
  explicit LoadedCode(std::string name) : name_(std::move(name)) {}
  // Null: the module exports no such name.
  virtual void* Symbol(const char* name) const = 0;

 private:
  std::string name_;
};

}  // namespace orvandel::stage
