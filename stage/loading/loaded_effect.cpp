#include "stage/loading/loaded_effect.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <system_error>
#include <utility>

#include "stage/base/errors.h"
#include "stage/loading/registration_reader.h"

namespace orvandel::stage {
namespace {

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  int Number() const { return number_; }

 private:
  int number_;
};

bool CopyInto(int target, const std::filesystem::path& file) {
  const Descriptor source(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat facts = {};
  if (source.Number() < 0 || target < 0 || fstat(source.Number(), &facts) != 0) return false;
  for (off_t left = facts.st_size; left > 0;) {
    const ssize_t sent = sendfile(target, source.Number(), nullptr, static_cast<std::size_t>(left));
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    left -= sent;
  }
  return true;
}

// The loader's handle of a module, with the memory file of a copy.
struct Opened {
  void* library = nullptr;
  Descriptor memory;
};

void* Load(const std::string& name) { return dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL); }

// The loader tells libraries apart by name before it looks at the file, and the name is the descriptor's number: it
// stays open as long as the copy.
Opened LoadFromMemory(const std::filesystem::path& file) {
  Opened opened;
  opened.memory = Descriptor(memfd_create("orvandel.so", MFD_CLOEXEC));
  if (CopyInto(opened.memory.Number(), file)) {
    opened.library = Load(fmt::format("/proc/self/fd/{}", opened.memory.Number()));
  }
  return opened;
}

// Where memory may not be executed: a file of its own, which loses its name at once.
Opened LoadFromTemporaryFile(const std::filesystem::path& file) {
  std::error_code none;
  std::string name = (std::filesystem::temp_directory_path(none) / "orvandel.XXXXXX").string();
  const Descriptor copy(mkostemp(name.data(), O_CLOEXEC));
  Opened opened;
  if (copy.Number() < 0) return opened;
  if (CopyInto(copy.Number(), file)) opened.library = Load(name);
  unlink(name.c_str());
  return opened;
}

// A module has one set of module-wide variables, and the loader gives the same one to all who name the same file. Who
// comes while it is in use, by us or by others in the process, gets a copy of the file.
Opened LoadPrivately(const std::filesystem::path& file) {
  static std::mutex oneAtATime;
  const std::lock_guard lock(oneAtATime);
  void* inUse = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
  if (inUse == nullptr) return {Load(file.string()), Descriptor()};
  dlclose(inUse);
  Opened opened = LoadFromMemory(file);
  return opened.library != nullptr ? std::move(opened) : LoadFromTemporaryFile(file);
}

class Loaded final : public EffectLibrary {
 public:
  explicit Loaded(const std::filesystem::path& file) : file_(file) {
    std::error_code ignored;
    // A bare name would be searched for.
    opened_ = LoadPrivately(std::filesystem::absolute(file, ignored));
    if (opened_.library != nullptr) return;
    const char* reason = dlerror();
    throw WorkError(fmt::format("{}: cannot be loaded: {}", Name(), reason == nullptr ? "unknown" : reason));
  }
  ~Loaded() override { dlclose(opened_.library); }
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
    return reinterpret_cast<Function>(dlsym(opened_.library, name));
  }

  std::filesystem::path file_;
  Opened opened_;
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
