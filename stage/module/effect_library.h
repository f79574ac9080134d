// The effect's code and where it comes from: linked into the program (linked_effect.h), or loaded (stage/loading).
#pragma once

#include <string>

#include "orvandel/effect.h"
#include "stage/module/registration.h"

namespace orvandel::stage {

// Holds the code in memory while it lives.
class EffectLibrary {
 public:
  virtual ~EffectLibrary() = default;
  virtual std::string Name() const = 0;  // for complaints
  // Null: there is none.
  virtual OrvPluginDataEntryFunction RegistrationEntry() const = 0;
  virtual OrvFilterMain CommandEntry(const std::string& name) const = 0;
  // Throws WorkError.
  virtual Registration GetRegistration() const = 0;
};

}  // namespace orvandel::stage
