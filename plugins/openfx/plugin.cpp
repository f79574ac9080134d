// The plug-in as hosts load it: its two entries, and the actions by their names.
//
// Hosts load, set themselves and describe any number of times, on several threads; so whatever is remembered here is
// guarded, and loading again changes nothing.
#include <algorithm>
#include <exception>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <string_view>
#include <unordered_map>

#include "orvandel/effect.h"
#include "plugins/bridge/effect_pool.h"
#include "plugins/bridge/plain_arithmetic.h"
#include "plugins/openfx/appearance.h"
#include "plugins/openfx/describe.h"
#include "plugins/openfx/looks.h"
#include "plugins/openfx/render.h"
#include "stage/base/errors.h"

#if defined(_WIN32)
#define ORVANDEL_OFX_EXPORT extern "C" __declspec(dllexport)
#else
#define ORVANDEL_OFX_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace orvandel::ofx {
namespace {

// Hosts keep the addresses of names; the table stays as long as the plug-in is loaded. It is never destroyed, as
// nothing is that an action uses: hosts send actions from their own last destructors, when ours have run. Throws
// WorkError.
const ParamTable& Table() {
  static const auto* const table = new ParamTable(MakeParamTable(bridge::Catalog()));
  return *table;
}

// Instances by their handles. Kept here and not with the host, which may hand in a wrong one.
class Instances {
 public:
  void Add(const void* handle, std::shared_ptr<Instance> instance) {
    const std::unique_lock lock(guard_);
    byHandle_[handle] = std::move(instance);
  }
  bool Remove(const void* handle) {
    std::shared_ptr<Instance> last;  // ends outside the lock
    const std::unique_lock lock(guard_);
    const auto found = byHandle_.find(handle);
    if (found == byHandle_.end()) return false;
    last = std::move(found->second);
    byHandle_.erase(found);
    return true;
  }
  std::shared_ptr<Instance> Find(const void* handle) {
    const std::shared_lock lock(guard_);
    const auto found = byHandle_.find(handle);
    return found == byHandle_.end() ? nullptr : found->second;
  }

 private:
  std::shared_mutex guard_;
  std::unordered_map<const void*, std::shared_ptr<Instance>> byHandle_;
};

Instances& The() {
  static auto* const instances = new Instances;
  return *instances;
}

OfxImageEffectHandle EffectOf(const void* handle) {
  return static_cast<OfxImageEffectHandle>(const_cast<void*>(handle));
}

// What the process keeps for its instances; all of it can be made again.
void DropCaches() {
  ForgetLooksAndPlayers();
  KeptFrames::The().Clear();
  bridge::EffectPool::The().DropIdle();
}

// For hosts that take the library out of their process without an unload action.
const struct Sweeper {
  ~Sweeper() { DropCaches(); }
} sweeper;

OfxStatus Load() {
  if (!FetchSuites(CurrentHost()).Suffice()) return kMissingHostFeature;
  Table();
  return kOk;
}

OfxStatus OfDescriptor(std::string_view action, const void* handle, OfxPropertyHandle in) {
  const Suites suites = FetchSuites(CurrentHost());
  if (!suites.Suffice()) return kMissingHostFeature;
  if (action == action::kDescribe) return Describe(suites, EffectOf(handle));
  if (action == action::kDescribeInContext) {
    return DescribeInContext(suites, EffectOf(handle), Properties(suites, in).Text(prop::kContext), Table());
  }
  const auto instance = std::make_shared<Instance>(suites, EffectOf(handle), Table());
  The().Add(handle, instance);
  ShowWhatIsActive(*instance, 0);
  return kOk;
}

OfxStatus InstanceChanged(Instance& instance, const Properties& in) {
  const ShownParam* shown = instance.Table().Find(in.Text(prop::kName));
  if (shown == nullptr || (shown->kind != Kind::kChoice && shown->kind != Kind::kSwitch)) return kReplyDefault;
  ShowWhatIsActive(instance, in.Double(prop::kTime).value_or(0));
  return kOk;
}

OfxStatus OfInstance(std::string_view action, Instance& instance, OfxPropertyHandle in, OfxPropertyHandle out) {
  const Properties asked(instance.Host(), in), answer(instance.Host(), out);
  if (action == action::kRender) return Render(instance, asked);
  if (action == action::kIsIdentity) return IsIdentity(instance, asked, answer);
  if (action == action::kGetRegionOfDefinition) return GetRegionOfDefinition(instance, asked, answer);
  if (action == action::kGetRegionsOfInterest) return GetRegionsOfInterest(instance, asked, answer);
  if (action == action::kGetFramesNeeded) return GetFramesNeeded(instance, asked, answer);
  if (action == action::kGetClipPreferences) return GetClipPreferences(instance, answer);
  if (action == action::kBeginSequenceRender) {
    instance.BeginSequence();
    return kOk;
  }
  if (action == action::kEndSequenceRender) {
    instance.EndSequence();
    return kOk;
  }
  if (action == action::kPurgeCaches) {
    DropCaches();
    return kOk;
  }
  instance.ClearComplaint();  // some hosts do not render while a message stands
  if (asked.Text(prop::kChangeReason) != kChangedByTime) instance.Edited();
  return InstanceChanged(instance, asked);
}

bool Is(std::string_view action, std::initializer_list<Name> names) {
  return std::find(names.begin(), names.end(), action) != names.end();
}

bool IsOfMemory(const std::exception& error) {
  const auto* ofEffect = dynamic_cast<const stage::EffectError*>(&error);
  return dynamic_cast<const std::bad_alloc*>(&error) != nullptr ||
         dynamic_cast<const stage::OutOfMemory*>(&error) != nullptr ||
         (ofEffect != nullptr && ofEffect->code == ORV_OUT_OF_MEMORY);
}

// A host that tries again when memory has ended has what was kept.
OfxStatus Refusal(const std::exception& error) {
  if (!IsOfMemory(error)) return kFailed;
  DropCaches();
  return kErrMemory;
}

OfxStatus Dispatch(std::string_view action, const void* handle, OfxPropertyHandle in, OfxPropertyHandle out) {
  const bridge::PlainArithmetic plain;
  if (action == action::kLoad) return Load();
  if (action == action::kUnload) {
    DropCaches();
    return kOk;
  }
  if (Is(action, {action::kDescribe, action::kDescribeInContext, action::kCreateInstance})) {
    return handle == nullptr ? kBadHandle : OfDescriptor(action, handle, in);
  }
  if (action == action::kDestroyInstance) {
    return The().Remove(handle) ? kOk : kBadHandle;
  }
  const bool known =
      Is(action, {action::kRender, action::kIsIdentity, action::kGetRegionOfDefinition, action::kGetRegionsOfInterest,
                  action::kGetFramesNeeded, action::kGetClipPreferences, action::kBeginSequenceRender,
                  action::kEndSequenceRender, action::kPurgeCaches, action::kInstanceChanged});
  if (!known) return kReplyDefault;
  const std::shared_ptr<Instance> instance = The().Find(handle);
  if (instance == nullptr) return kBadHandle;
  try {
    return OfInstance(action, *instance, in, out);
  } catch (const stage::Interrupted&) {
    return action == action::kRender ? kOk : kReplyDefault;  // nobody looks at what a host has stopped
  } catch (const std::exception& error) {
    const OfxStatus refusal = Refusal(error);
    if (refusal == kErrMemory) return refusal;
    if (action != action::kRender) return kReplyDefault;  // the render will say it
    instance->Complain(error.what());
    return refusal;
  }
}

// The one place that exceptions do not pass.
OfxStatus Main(const char* action, const void* handle, OfxPropertyHandle in, OfxPropertyHandle out) {
  if (action == nullptr) return kReplyDefault;
  // The runtime allocates a record at a thread's first exception, and ends the process when it cannot: it does so now,
  // while there may still be memory. The function is pure, so that its result has to be used.
  [[maybe_unused]] const volatile int pending = std::uncaught_exceptions();
  try {
    return Dispatch(action, handle, in, out);
  } catch (const std::exception& error) {
    return Refusal(error);
  } catch (...) {
    return kFailed;
  }
}

OfxPlugin plugin{kApi, 1, kIdentifier, kVersionMajor, kVersionMinor, [](OfxHost* host) { RememberHost(host); }, Main};

}  // namespace
}  // namespace orvandel::ofx

ORVANDEL_OFX_EXPORT OfxStatus OfxSetHost(const OfxHost* host) {
  orvandel::ofx::RememberHost(host);
  return orvandel::ofx::kOk;
}

ORVANDEL_OFX_EXPORT int OfxGetNumberOfPlugins(void) { return 1; }

ORVANDEL_OFX_EXPORT OfxPlugin* OfxGetPlugin(int number) { return number == 0 ? &orvandel::ofx::plugin : nullptr; }
