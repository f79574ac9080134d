// Windows. The loader shares one module among all users of the same file, and a loaded file cannot be removed: a
// private copy is a file of its own, and one that can be removed was left behind.
#include <fmt/format.h>
#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <system_error>
#include <utility>

#include "stage/base/errors.h"
#include "stage/base/file_bytes.h"
#include "stage/loading/loaded_code.h"
#include "stage/loading/loaded_effect.h"

namespace orvandel::stage {
namespace {

namespace fs = std::filesystem;

constexpr std::wstring_view kBeginning = L"orvandel-copy-", kEnding = L".dll";

std::string LastError() { return std::system_category().message(static_cast<int>(GetLastError())); }

// Left by processes that were killed, or that ended while the module was loaded.
void RemoveLeftCopies(const fs::path& folder) {
  std::error_code none;
  for (const auto& entry : fs::directory_iterator(folder, none)) {
    const std::wstring name = entry.path().filename().wstring();
    if (name.starts_with(kBeginning) && name.ends_with(kEnding)) DeleteFileW(entry.path().c_str());
  }
}

bool WriteNew(const fs::path& file, std::span<const std::uint8_t> bytes) {
  const HANDLE handle =
      CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return false;
  DWORD written = 0;
  const bool whole = WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) != 0 &&
                     written == bytes.size();
  CloseHandle(handle);
  if (!whole) DeleteFileW(file.c_str());
  return whole;
}

struct Opened {
  HMODULE library = nullptr;
  fs::path copy;  // empty: the file itself
};

Opened LoadCopy(std::span<const std::uint8_t> module) {
  static std::atomic<unsigned> copies = 0;
  std::error_code none;
  const fs::path folder = fs::temp_directory_path(none);
  if (copies == 0) RemoveLeftCopies(folder);
  // Another process may take the file for one that was left, until it is loaded.
  for (int attempt = 0; attempt < 3; ++attempt) {
    Opened opened;
    opened.copy = folder / fs::path(std::wstring(kBeginning) + std::to_wstring(GetCurrentProcessId()) + L"-" +
                                    std::to_wstring(copies++) + std::wstring(kEnding));
    if (!WriteNew(opened.copy, module)) continue;
    opened.library = LoadLibraryW(opened.copy.c_str());
    if (opened.library != nullptr) return opened;
    const DWORD failure = GetLastError();
    DeleteFileW(opened.copy.c_str());
    SetLastError(failure);
  }
  return {};
}

Opened LoadPrivately(const fs::path& file) {
  static std::mutex oneAtATime;
  const std::lock_guard lock(oneAtATime);
  if (GetModuleHandleW(file.c_str()) == nullptr) return {LoadLibraryW(file.c_str()), {}};
  constexpr std::size_t kLargest = std::size_t{1} << 28;
  const std::string bytes = ReadWholeFile(file, kLargest);
  return LoadCopy({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

class Loaded final : public LoadedCode {
 public:
  Loaded(std::string name, Opened opened) : LoadedCode(std::move(name)), opened_(std::move(opened)) {
    if (opened_.library == nullptr) throw WorkError(fmt::format("{}: cannot be loaded: {}", Name(), LastError()));
  }
  ~Loaded() override {
    FreeLibrary(opened_.library);
    if (!opened_.copy.empty()) DeleteFileW(opened_.copy.c_str());
  }
  Loaded(const Loaded&) = delete;
  Loaded& operator=(const Loaded&) = delete;

  Registration GetRegistration() const override {
    const HRSRC resource = FindResourceA(opened_.library, MAKEINTRESOURCEA(ORV_REGISTRATION_ID), ORV_REGISTRATION_TYPE);
    try {
      if (resource == nullptr) throw DamagedRegistration{"has no registration resource"};
      const void* const bytes = LockResource(LoadResource(opened_.library, resource));
      return Registration({static_cast<const std::uint8_t*>(bytes), SizeofResource(opened_.library, resource)});
    } catch (const DamagedRegistration& damaged) {
      throw WorkError(Name() + ": " + damaged.reason);
    }
  }

 private:
  void* Symbol(const char* name) const override {
    return reinterpret_cast<void*>(GetProcAddress(opened_.library, name));
  }

  Opened opened_;
};

}  // namespace

std::unique_ptr<EffectLibrary> LoadEffect(const fs::path& file) {
  return std::make_unique<Loaded>(file.string(), LoadPrivately(fs::absolute(file)));
}

std::unique_ptr<EffectLibrary> LoadEffectBytes(std::span<const std::uint8_t> module) {
  return std::make_unique<Loaded>(kBuiltInName, LoadCopy(module));
}

std::filesystem::path DefaultModulePath() {
  if (const wchar_t* named = _wgetenv(L"ORVANDEL_MODULE"); named != nullptr && *named != L'\0') return named;
  std::wstring program(32768, L'\0');  // the longest name there is
  program.resize(GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
  return fs::path(program).parent_path() / "orvandel.dll";
}

}  // namespace orvandel::stage
