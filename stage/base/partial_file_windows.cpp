// A writer's file is open, and the system lets nobody remove it meanwhile, however the writer ends: one that can be
// removed is abandoned.
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "stage/base/partial_file.h"
#include "stage/base/partial_file_system.h"

namespace orvandel::stage {
namespace {

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

PartialFile::~PartialFile() {
  if (descriptor_ >= 0) _close(descriptor_);
  if (descriptor_ >= 0 && !kept_) DeleteFileW(workName_.c_str());
}

void PartialFile::Open() {
  if (descriptor_ >= 0) _close(descriptor_);
  constexpr int kForm = _O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY | _O_NOINHERIT;
  _wsopen_s(&descriptor_, workName_.c_str(), kForm, _SH_DENYWR, _S_IREAD | _S_IWRITE);
  if (descriptor_ < 0) Fail("cannot be written", errno);
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
  // An open file keeps its name.
  if (_close(descriptor_) != 0) Fail("cannot be written", errno);
  const DWORD replace = ifTaken_ == IfTaken::kReplace ? MOVEFILE_REPLACE_EXISTING : 0;
  kept_ = MoveFileExW(workName_.c_str(), target_.c_str(), replace | MOVEFILE_WRITE_THROUGH) != 0;
  if (kept_) {
    descriptor_ = -1;
    return;
  }
  const DWORD failure = GetLastError();
  DeleteFileW(workName_.c_str());
  descriptor_ = -1;
  if (failure == ERROR_ALREADY_EXISTS || failure == ERROR_FILE_EXISTS) {
    Fail("appeared while this one was being made, and was kept");
  }
  Fail("cannot be given its name: " + std::system_category().message(static_cast<int>(failure)));
}

}  // namespace orvandel::stage
