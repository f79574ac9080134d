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
#include <functional>
#include <mutex>
#include <system_error>
#include <utility>

#include "stage/base/errors.h"
#include "stage/loading/loaded_code.h"
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

// Where a module comes from: a file, or bytes that are in memory already.
using Filling = std::function<bool(int target)>;

bool WriteAll(int target, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(target, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

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
  bool lacksMemory = false;
};

// A copy may lie where another thread's was until a moment ago. The loader's own lock orders the two, but checks for
// data races do not see it.
std::mutex& Placing() {
  static std::mutex placing;
  return placing;
}

// The loader explains a failure in words only; that memory ran out shows in errno.
void Load(const std::string& name, Opened& opened) {
  const std::lock_guard lock(Placing());
  errno = 0;
  opened.library = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
  opened.lacksMemory = opened.library == nullptr && errno == ENOMEM;
}

// The loader tells libraries apart by name before it looks at the file, and the name is the descriptor's number: it
// stays open as long as the copy.
Opened LoadFromMemory(const Filling& fill) {
  Opened opened;
  opened.memory = Descriptor(memfd_create("orvandel.so", MFD_CLOEXEC));
  if (opened.memory.Number() >= 0 && fill(opened.memory.Number())) {
    Load(fmt::format("/proc/self/fd/{}", opened.memory.Number()), opened);
  }
  return opened;
}

// Where memory may not be executed: a file of its own, which loses its name at once.
Opened LoadFromTemporaryFile(const Filling& fill) {
  std::error_code none;
  std::string name = (std::filesystem::temp_directory_path(none) / "orvandel.XXXXXX").string();
  const Descriptor copy(mkostemp(name.data(), O_CLOEXEC));
  Opened opened;
  if (copy.Number() < 0) return opened;
  if (fill(copy.Number())) Load(name, opened);
  unlink(name.c_str());
  return opened;
}

Opened LoadCopy(const Filling& fill) {
  Opened opened = LoadFromMemory(fill);
  return opened.library != nullptr || opened.lacksMemory ? std::move(opened) : LoadFromTemporaryFile(fill);
}

// A module has one set of module-wide variables, and the loader shares it among all users of the same file. While the
// file is in use, by us or by others in the process, a further user gets a copy of it.
Opened LoadPrivately(const std::filesystem::path& file) {
  static std::mutex oneAtATime;
  const std::lock_guard lock(oneAtATime);
  void* inUse = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
  if (inUse == nullptr) {
    Opened opened;
    Load(file.string(), opened);
    return opened;
  }
  dlclose(inUse);
  return LoadCopy([&](int target) { return CopyInto(target, file); });
}

class Loaded : public LoadedCode {
 public:
  Loaded(std::string name, Opened opened) : LoadedCode(std::move(name)), opened_(std::move(opened)) {
    if (opened_.library != nullptr) return;
    const char* reason = dlerror();
    const std::string what = fmt::format("{}: cannot be loaded: {}", Name(), reason == nullptr ? "unknown" : reason);
    if (opened_.lacksMemory) throw OutOfMemory(what);
    throw WorkError(what);
  }
  ~Loaded() override {
    const std::lock_guard lock(Placing());
    dlclose(opened_.library);
  }
  Loaded(const Loaded&) = delete;
  Loaded& operator=(const Loaded&) = delete;

 private:
  void* Symbol(const char* name) const final { return dlsym(opened_.library, name); }

  Opened opened_;
};

class LoadedFile final : public Loaded {
 public:
  // A bare name would be searched for.
  explicit LoadedFile(const std::filesystem::path& file)
      : Loaded(file.string(), LoadPrivately(std::filesystem::absolute(file))), file_(file) {}
  Registration GetRegistration() const override { return ReadRegistration(file_); }

 private:
  std::filesystem::path file_;
};

class LoadedBytes final : public Loaded {
 public:
  explicit LoadedBytes(std::span<const std::uint8_t> module)
      : Loaded(kBuiltInName, LoadCopy([module](int target) { return WriteAll(target, module); })), module_(module) {}
  Registration GetRegistration() const override { return ReadRegistration(module_, Name()); }

 private:
  std::span<const std::uint8_t> module_;
};

}  // namespace

std::unique_ptr<EffectLibrary> LoadEffect(const std::filesystem::path& file) {
  return std::make_unique<LoadedFile>(file);
}

std::unique_ptr<EffectLibrary> LoadEffectBytes(std::span<const std::uint8_t> module) {
  return std::make_unique<LoadedBytes>(module);
}

std::filesystem::path LibraryFolder() {
  std::error_code failed;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failed);
  const std::filesystem::path folder = failed ? std::filesystem::path("bin") : program.parent_path();
  return folder.parent_path() / "lib" / "orvandel";
}

std::filesystem::path DefaultModulePath() {
  if (const char* named = std::getenv("ORVANDEL_MODULE"); named != nullptr && *named != '\0') return named;
  return LibraryFolder() / "orvandel.so";
}

}  // namespace orvandel::stage
