#include "stage/loading/loaded_effect.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <cstdlib>
#include <system_error>

#include "stage/base/errors.h"
#include "stage/loading/registration_reader.h"

namespace orvandel::stage {
namespace {

class Loaded final : public EffectLibrary {
 public:
  explicit Loaded(const std::filesystem::path& file) : file_(file) {
    std::error_code ignored;
    const std::filesystem::path whole = std::filesystem::absolute(file, ignored);  // a bare name would be searched for
    library_ = dlopen(whole.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library_ != nullptr) return;
    const char* reason = dlerror();
    throw WorkError(fmt::format("{}: cannot be loaded: {}", Name(), reason == nullptr ? "unknown" : reason));
  }
  ~Loaded() override { dlclose(library_); }
  Loaded(const Loaded&) = delete;
  Loaded& operator=(const Loaded&) = delete;

  std::string Name() const override { return file_.string(); }
  OrvPluginDataEntryFunction RegistrationEntry() const override {
    return Find<OrvPluginDataEntryFunction>("PluginDataEntryFunction");
  }
  OrvFilterMain CommandEntry(const std::string& name) const override { return Find<OrvFilterMain>(name.c_str()); }
  Registration GetRegistration() const override { return ReadRegistration(file_); }

 private:
  template <typename Function>
  Function Find(const char* name) const {
    return reinterpret_cast<Function>(dlsym(library_, name));
  }

  std::filesystem::path file_;
  void* library_ = nullptr;
};

}  // namespace

std::unique_ptr<EffectLibrary> LoadEffect(const std::filesystem::path& file) { return std::make_unique<Loaded>(file); }

std::filesystem::path DefaultModulePath() {
  if (const char* named = std::getenv("ORVANDEL_MODULE"); named != nullptr && *named != '\0') return named;
  std::error_code failed;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failed);
  const std::filesystem::path folder = failed ? std::filesystem::path("bin") : program.parent_path();
  return folder.parent_path() / "lib" / "orvandel" / "orvandel.so";
}

}  // namespace orvandel::stage
