// The frame around every call: building the EffectContext, finding or making the instance's GlobalData, handing the
// private heap over between the module and the instance, and tearing all of it down in the right order.
//
// Module-level state: the handle of the global data seen last (null after global set-down) and whether the instance's
// heap state is in force. One call at a time; nothing is guarded.
#pragma once

#include "effect/host/effect_context.h"

namespace orvandel {

// Builds the context in its constructor and tears it down in its destructor, also on the way out of an exception.
class Call {
 public:
  Call(OrvInRecord* inRecord, OrvOutRecord* outRecord, OrvParamDef** params, OrvImage* output);
  ~Call();
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  EffectContext& Context() { return context_; }

  // Global set-down: the teardown of this call frees everything the instance holds.
  void EndInstance() noexcept;

 private:
  void CreateGlobals();
  void DisposeInstance() noexcept;

  EffectContext context_;
};

}  // namespace orvandel
