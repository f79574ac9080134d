// The module's two entry points. FilterMain is the one place where exceptions become codes and messages: everything
// below throws, or cleans up in destructors.
#include <cstdint>
#include <exception>

#include "effect/base/errors.h"
#include "effect/commands/render_driver.h"
#include "effect/host/instance.h"
#include "effect/host/messages.h"
#include "effect/host/registration.h"
#include "effect/params/param_ids.h"
#include "effect/params/param_set.h"
#include "effect/params/param_ui.h"
#include "effect/sim/sequence_state.h"
#include "orvandel/effect.h"

namespace orvandel {
namespace {

std::int32_t GlobalSetUp(EffectContext& context) {
  const std::int32_t code = ReadRegistration(context);
  return code != ORV_OK ? code : CheckHostVersion(context);
}

// The logical id of the parameter at a host index: the first table entry equal to it.
std::int32_t ParamAtHostIndex(const GlobalData& globals, std::int32_t hostIndex) {
  for (std::int32_t id = 0; id < kParamIndexEntries - 1; ++id) {
    if (globals.paramIndexTable[static_cast<std::size_t>(id)] == hostIndex) return id;
  }
  return kNoParam;
}

std::int32_t UserChangedParam(EffectContext& context, const void* extra) {
  if (extra == nullptr) return UpdateParamUI(context, kNoParam);
  const std::int32_t hostIndex = static_cast<const OrvChangedParam*>(extra)->hostIndex;
  return UpdateParamUI(context, ParamAtHostIndex(*context.globals, hostIndex));
}

std::int32_t Dispatch(std::int32_t selector, Call& call, const void* extra) {
  EffectContext& context = call.Context();
  switch (selector) {
    case ORV_ABOUT:
      return About(context);
    case ORV_GLOBAL_SET_UP:
      return GlobalSetUp(context);
    case ORV_GLOBAL_SET_DOWN:
      call.EndInstance();
      return ORV_OK;
    case ORV_PARAM_SET_UP:
      return RegisterParams(context);
    case ORV_SEQUENCE_SET_UP:
      return SequenceSetUp(context);
    case ORV_SEQUENCE_RE_SET_UP:
      return SequenceReSetUp(context);
    case ORV_SEQUENCE_FLATTEN:
      return SequenceFlatten(context);
    case ORV_SEQUENCE_SET_DOWN:
      return SequenceSetDown(context);
    case ORV_RENDER:
      return RenderFrame(context);
    case ORV_USER_CHANGED_PARAM:
      return UserChangedParam(context, extra);
    case ORV_UPDATE_PARAMS_UI:
      return UpdateParamUI(context, kNoParam);
    default:  // the query of dynamic flags, and commands that the effect does not handle
      return ORV_OK;
  }
}

}  // namespace
}  // namespace orvandel

extern "C" std::int32_t FilterMain(std::int32_t selector, OrvInRecord* inRecord, OrvOutRecord* outRecord,
                                   OrvParamDef** params, OrvImage* output, void* extra) {
  using namespace orvandel;
  // The runtime allocates a record at a thread's first exception, and ends the process when it cannot. This call makes
  // it allocate now, while there may still be memory. The function is declared pure: without a use of its result the
  // compiler would drop the call.
  [[maybe_unused]] const volatile int pending = std::uncaught_exceptions();
  // By the time a catch clause runs, the call has been torn down.
  try {
    Call call(inRecord, outRecord, params, output);
    return Dispatch(selector, call, extra);
  } catch (const AllocFailed& failure) {
    SetOutOfMemoryMessage(*outRecord, failure);
    return ORV_OUT_OF_MEMORY;
  } catch (const AbortException& abort) {
    return abort.code;
  } catch (...) {
    SetInternalErrorMessage(*outRecord);
    return ORV_INVALID_CALLBACK;
  }
}

extern "C" std::int32_t PluginDataEntryFunction(void* hostRef, OrvRegister registerEffect) {
  return registerEffect(hostRef, "$$$/YQ/Effect/Name/Orvandel=Orvandel", "ZMR Orvandel",
                        "$$$/Varnhold/FiltersAndEffects/Category/Generate=Generate", "FilterMain", ORV_KIND_EFFECT, 13,
                        15, 8);
}
