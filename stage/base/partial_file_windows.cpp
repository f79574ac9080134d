// A writer's file is open, and the system lets nobody remove it meanwhile, however the writer ends: one that can be
// removed is abandoned. Programs that the writer starts may write into it.
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <mutex>
#include <system_error>
#include <utility>

#include "stage/base/partial_file.h"
#include "stage/base/partial_file_system.h"

namespace orvandel::stage {
namespace {

// The unfinished files of this process, for RemoveUnfinished.
struct Unfinished {
  std::mutex guard;                            // held while one becomes finished or is removed
  std::map<int, std::filesystem::path> names;  // by descriptor
};
Unfinished& Files() {
  static auto* const files = new Unfinished;
  return *files;
}

int Close(int& descriptor) {
  Files().names.erase(descriptor);
  return _close(std::exchange(descriptor, -1));
}

int WriteAll(int descriptor, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    constexpr std::size_t kAtOnce = 1 << 20;
    const int written = _write(descriptor, bytes.data(), static_cast<unsigned>(std::min(bytes.size(), kAtOnce)));
    if (written <= 0) return written < 0 ? errno : ENOSPC;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return 0;
}

}  // namespace

const std::string& MachineName() {
  static const std::string name = "windows";
  return name;
}

int ThisProcess() { return static_cast<int>(GetCurrentProcessId()); }

void RemoveIfAbandoned(const std::filesystem::path& file, const WorkName&) { DeleteFileW(file.c_str()); }

void RemoveUnfinished() {
  Files().guard.lock();  // and never unlocked: from here on no file is opened, kept or closed
  for (const auto& [descriptor, name] : Files().names) {
    _close(descriptor);
    // A program that wrote into it may take a moment to end.
    constexpr int kTries = 40;
    for (int i = 0; i < kTries && DeleteFileW(name.c_str()) == 0 && GetLastError() == ERROR_SHARING_VIOLATION; ++i) {
      Sleep(50);
    }
  }
}

PartialFile::~PartialFile() {
  if (descriptor_ < 0) return;
  const std::lock_guard lock(Files().guard);
  Close(descriptor_);
  DeleteFileW(workName_.c_str());
}

void PartialFile::Open() {
  constexpr int kForm = _O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY | _O_NOINHERIT;
  const std::lock_guard lock(Files().guard);
  if (descriptor_ >= 0) Close(descriptor_);
  _wsopen_s(&descriptor_, workName_.c_str(), kForm, _SH_DENYNO, _S_IREAD | _S_IWRITE);
  if (descriptor_ < 0) Fail("cannot be written", errno);
  Files().names[descriptor_] = workName_;
}

void PartialFile::Append(std::span<const std::uint8_t> bytes) {
  if (const int failure = WriteAll(descriptor_, bytes); failure != 0) Fail("cannot be written", failure);
}

void PartialFile::Write(std::span<const std::uint8_t> bytes) {
  Open();
  Append(bytes);
}

void PartialFile::Sync() {
  if (_commit(descriptor_) != 0) Fail("cannot be written", errno);
}

void PartialFile::Keep() {
  const std::lock_guard lock(Files().guard);
  // An open file keeps its name.
  if (Close(descriptor_) != 0) {
    const int failure = errno;
    DeleteFileW(workName_.c_str());
    Fail("cannot be written", failure);
  }
  const DWORD replace = ifTaken_ == IfTaken::kReplace ? MOVEFILE_REPLACE_EXISTING : 0;
  kept_ = MoveFileExW(workName_.c_str(), target_.c_str(), replace | MOVEFILE_WRITE_THROUGH) != 0;
  if (kept_) return;
  const DWORD failure = GetLastError();
  DeleteFileW(workName_.c_str());
  if (failure == ERROR_ALREADY_EXISTS || failure == ERROR_FILE_EXISTS) {
    Fail("appeared while this one was being made, and was kept");
  }
  Fail("cannot be given its name: " + std::system_category().message(static_cast<int>(failure)));
}

}  // namespace orvandel::stage
