#include "stage/module/effect_module.h"

#include <fmt/format.h>

#include <cstdio>
#include <utility>

#include "stage/base/display_text.h"
#include "stage/base/errors.h"
#include "stage/module/module_session.h"
#include "stage/module/param_learning.h"

namespace orvandel::stage {
namespace {

// What the registration entry reports, before it is checked.
struct Registered {
  Identity identity;
  int calls = 0;
};

std::int32_t Receive(void* hostRef, const char* name, const char* matchName, const char* category,
                     const char* entryPoint, std::uint32_t kind, std::int32_t interfaceMajor,
                     std::int32_t interfaceMinor, std::uint32_t flags) {
  auto& registered = *static_cast<Registered*>(hostRef);
  const auto text = [](const char* value) { return std::string(value == nullptr ? "" : value); };
  ++registered.calls;
  registered.identity.name = DisplayText(text(name));
  registered.identity.matchName = text(matchName);
  registered.identity.category = DisplayText(text(category));
  registered.identity.entryPoint = text(entryPoint);
  registered.identity.kind = kind;
  registered.identity.interfaceMajor = interfaceMajor;
  registered.identity.interfaceMinor = interfaceMinor;
  registered.identity.flags = flags;
  return 0;
}

}  // namespace

EffectModule::Impl::Impl(std::unique_ptr<EffectLibrary> library) : name(library->Name()), library_(std::move(library)) {
  try {
    Register();
    SetUp();
    CompareWithResource();
  } catch (...) {
    try {
      SetDown();
    } catch (const std::exception&) {  // the first failure is the one to report
    }
    throw;
  }
}

EffectModule::Impl::~Impl() {
  try {
    SetDown();
  } catch (const std::exception& error) {  // a destructor cannot throw, and silence would hide a leak
    std::fprintf(stderr, "orvandel: %s\n", error.what());
  }
}

void EffectModule::Impl::Register() {
  const auto exported = [this](const std::string& symbol, auto* function) {
    if (function == nullptr) throw WorkError(fmt::format("{}: does not export \"{}\"", name, symbol));
    return function;
  };
  Registered registered;
  const std::int32_t code = exported("PluginDataEntryFunction", library_->RegistrationEntry())(&registered, Receive);
  if (code != 0 || registered.calls != 1) {
    throw WorkError(
        fmt::format("{}: registered {} effects, with code {}; one is expected", name, registered.calls, code));
  }
  identity = registered.identity;
  filterMain_ = exported(identity.entryPoint, library_->CommandEntry(identity.entryPoint));
}

void EffectModule::Impl::SetUp() {
  ParamLearner learner(ledger, catalog);
  OrvHandle noSequence = nullptr;
  const auto send = [&](std::int32_t selector) {
    try {
      return Send({.selector = selector}, learner, {}, noSequence);
    } catch (const EffectError& error) {
      const std::string what = fmt::format("{}: refuses to be set up: code {}{}{}", name, error.code,
                                           error.message.empty() ? "" : ": ", error.message);
      if (error.code == ORV_OUT_OF_MEMORY) throw OutOfMemory(what);
      throw WorkError(what);
    }
  };
  const OrvOutRecord global = send(ORV_GLOBAL_SET_UP);
  identity.effectVersion = global.effectVersion;
  identity.outFlags = global.outFlags;
  identity.outFlags2 = global.outFlags2;
  identity.about = WithLineBreaks(MessageOf(send(ORV_ABOUT)));
  const OrvOutRecord params = send(ORV_PARAM_SET_UP);
  const auto added = static_cast<std::int32_t>(catalog.Params().size());
  if (params.paramCount != added + 1 || learner.OpenGroups() != 0) {
    throw WorkError(fmt::format("{}: added {} parameters with {} groups left open, but counts {} with the input layer",
                                name, added, learner.OpenGroups(), params.paramCount));
  }
  ShowAsRegistered();
}

void EffectModule::Impl::ShowAsRegistered() {
  ui.assign(catalog.Params().size() + 1, {});
  for (const ParamInfo& param : catalog.Params()) {
    ui[static_cast<std::size_t>(param.hostIndex)] = {(param.definition.uiFlags & ORV_PARAM_UI_INACTIVE) != 0,
                                                     (param.definition.hostFlags & ORV_PARAM_CLOSED) != 0};
  }
}

// The category has different keys in the two places; the texts shown must agree.
void EffectModule::Impl::CompareWithResource() {
  const Registration resource = library_->GetRegistration();
  const auto text = [&](const char* what, const std::string& entry, std::optional<std::string> found, bool isKey) {
    if (found && isKey) found = DisplayText(*found);
    if (found && *found == entry) return;
    complaints.push_back(fmt::format("{}: the registration entry says \"{}\", the resource {}", what, entry,
                                     found ? "\"" + *found + "\"" : "nothing"));
  };
  const auto word = [&](const char* what, std::uint32_t entry, std::optional<std::uint32_t> found) {
    if (found && *found == entry) return;
    complaints.push_back(fmt::format("{}: the effect says {:#x}, the resource {}", what, entry,
                                     found ? fmt::format("{:#x}", *found) : "nothing"));
  };
  text("name", identity.name, resource.Text("name"), true);
  text("match name", identity.matchName, resource.Text("eMNA"), false);
  text("category", identity.category, resource.Text("catg"), true);
  text("entry point", identity.entryPoint, resource.TerminatedText("8664"), false);
  word("kind", identity.kind, resource.Word("kind"));
  word("flags", identity.flags, resource.Word("yqFL"));
  word("version", identity.effectVersion, resource.Word("eVER"));
  word("global flags", identity.outFlags, resource.Word("eGLO"));
  word("second global flags", identity.outFlags2, resource.Word("eGL2").value_or(0));
}

OrvOutRecord EffectModule::Impl::Send(const Command& command, HostAnswers& answers, const CommandTime& when,
                                      OrvHandle& sequenceData) {
  OrvInRecord in = MakeInRecord(answers, when, globalData_, sequenceData);
  OrvOutRecord out = MakeOutRecord(globalData_, sequenceData);
  answers.timeScale = when.timeScale;
  answers.timeStep = when.timeStep;
  answers.stopped = false;
  answers.failure = nullptr;
  std::int32_t code = 0;
  {
    const AnswersInForce inForce(answers);
    code = filterMain_(command.selector, &in, &out, command.params, command.output, command.extra);
  }
  globalData_ = out.globalData;
  sequenceData = out.sequenceData;
  std::string wrong = ledger.EndCommand();
  if (const std::string more = answers.EndCommand(); !more.empty()) wrong += (wrong.empty() ? "" : "; ") + more;
  if (answers.failure) std::rethrow_exception(answers.failure);
  if (!wrong.empty()) {
    throw WorkError(fmt::format("{}: after command {} (code {}): {}", name, command.selector, code, wrong));
  }
  if (code == kHostStops && answers.stopped) throw Interrupted();
  if (code != 0) throw EffectError(code, WithLineBreaks(MessageOf(out)));
  return out;
}

void EffectModule::Impl::SetDown() {
  if (filterMain_ == nullptr) return;
  HostAnswers nobody(ledger);
  OrvHandle noSequence = nullptr;
  if (globalData_ != nullptr) Send({.selector = ORV_GLOBAL_SET_DOWN}, nobody, {}, noSequence);
  filterMain_ = nullptr;
  if (const std::string left = ledger.EndAll(); !left.empty()) {
    throw WorkError(fmt::format("{}: after global set-down {}", name, left));
  }
}

EffectModule::EffectModule(std::unique_ptr<EffectLibrary> library)
    : impl_(std::make_unique<Impl>(std::move(library))) {}

EffectModule::~EffectModule() = default;

void EffectModule::SetDown() { impl_->SetDown(); }

const Identity& EffectModule::GetIdentity() const { return impl_->identity; }

const ParamCatalog& EffectModule::Catalog() const { return impl_->catalog; }

const std::vector<std::string>& EffectModule::Complaints() const { return impl_->complaints; }

}  // namespace orvandel::stage
