#include "stage/module/effect_module.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "stage/base/display_text.h"
#include "stage/base/errors.h"
#include "stage/loading/registration_reader.h"
#include "stage/module/module_session.h"
#include "stage/module/param_learning.h"

namespace orvandel::stage {
namespace {

// What the registration entry says, before anything is made of it.
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

template <typename Function>
Function FindSymbol(void* library, const std::string& name, const std::filesystem::path& file) {
  void* symbol = dlsym(library, name.c_str());
  if (symbol == nullptr) throw WorkError(fmt::format("{}: does not export \"{}\"", file.string(), name));
  return reinterpret_cast<Function>(symbol);
}

}  // namespace

EffectModule::Impl::Impl(const std::filesystem::path& moduleFile) : file(moduleFile) {
  try {
    Load();
    Register();
    SetUp();
    CompareWithResource();
  } catch (...) {
    try {
      SetDown();
    } catch (const std::exception&) {  // the first failure is the one to tell
    }
    if (library_ != nullptr) dlclose(library_);
    throw;
  }
}

EffectModule::Impl::~Impl() {
  try {
    SetDown();
  } catch (const std::exception& error) {  // a destructor cannot throw, and silence would hide a leak
    std::fprintf(stderr, "orvandel: %s\n", error.what());
  }
  dlclose(library_);
}

void EffectModule::Impl::Load() {
  std::error_code ignored;
  const std::filesystem::path whole = std::filesystem::absolute(file, ignored);  // a bare name would be searched for
  library_ = dlopen(whole.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library_ == nullptr) {
    const char* reason = dlerror();
    throw WorkError(fmt::format("{}: cannot be loaded: {}", file.string(), reason == nullptr ? "unknown" : reason));
  }
}

void EffectModule::Impl::Register() {
  entryFunction_ = FindSymbol<OrvPluginDataEntryFunction>(library_, "PluginDataEntryFunction", file);
  Registered registered;
  const std::int32_t code = entryFunction_(&registered, Receive);
  if (code != 0 || registered.calls != 1) {
    throw WorkError(
        fmt::format("{}: registered {} effects, with code {}; one is expected", file.string(), registered.calls, code));
  }
  identity = registered.identity;
  filterMain_ = FindSymbol<OrvFilterMain>(library_, identity.entryPoint, file);
}

void EffectModule::Impl::SetUp() {
  ParamLearner learner(ledger, catalog);
  OrvHandle noSequence = nullptr;
  const auto send = [&](std::int32_t selector) {
    try {
      return Send({.selector = selector}, learner, {}, noSequence);
    } catch (const EffectError& error) {
      throw WorkError(fmt::format("{}: refuses to be set up: code {}{}{}", file.string(), error.code,
                                  error.message.empty() ? "" : ": ", error.message));
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
                                file.string(), added, learner.OpenGroups(), params.paramCount));
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

// The category is looked up under a key of its own in either place; what it shows must agree all the same.
void EffectModule::Impl::CompareWithResource() {
  const Registration resource = ReadRegistration(file);
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
    throw WorkError(fmt::format("{}: after command {} (code {}): {}", file.string(), command.selector, code, wrong));
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
    throw WorkError(fmt::format("{}: after global set-down {}", file.string(), left));
  }
}

EffectModule::EffectModule(const std::filesystem::path& file) : impl_(std::make_unique<Impl>(file)) {}

EffectModule::~EffectModule() = default;

void EffectModule::SetDown() { impl_->SetDown(); }

const Identity& EffectModule::GetIdentity() const { return impl_->identity; }

const ParamCatalog& EffectModule::Catalog() const { return impl_->catalog; }

const std::vector<std::string>& EffectModule::Complaints() const { return impl_->complaints; }

std::filesystem::path DefaultModulePath() {
  if (const char* named = std::getenv("ORVANDEL_MODULE"); named != nullptr && *named != '\0') return named;
  std::error_code failed;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failed);
  const std::filesystem::path folder = failed ? std::filesystem::path("bin") : program.parent_path();
  return folder.parent_path() / "lib" / "orvandel" / "orvandel.so";
}

}  // namespace orvandel::stage
