// A writer holds a lock on its file, and the system drops the lock with the process, however that ends: a file without
// one is abandoned.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <system_error>

#include "stage/base/partial_file.h"
#include "stage/base/partial_file_system.h"

namespace orvandel::stage {
namespace {

bool IsOlderThanADay(const std::filesystem::path& file) {
  std::error_code failed;
  const auto written = std::filesystem::last_write_time(file, failed);
  return !failed && std::filesystem::file_time_type::clock::now() - written > std::chrono::hours(24);
}

// Writes all of it; 0 or the system's error number.
int WriteAll(int descriptor, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return 0;
}

// Whether the name still refers to the open file: another process may have taken it for an abandoned one between its
// creation and its lock.
bool IsNamed(int descriptor, const std::filesystem::path& name) {
  struct stat open {
  }, named{};
  return fstat(descriptor, &open) == 0 && lstat(name.c_str(), &named) == 0 && open.st_dev == named.st_dev &&
         open.st_ino == named.st_ino;
}

// 0 or the system's error number. Without hard links (FAT, some network file systems) a file that comes between the
// look and the renaming is replaced.
int GiveFreeName(const std::filesystem::path& from, const std::filesystem::path& to) {
  if (link(from.c_str(), to.c_str()) == 0) {
    unlink(from.c_str());
    return 0;
  }
  if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS && errno != EMLINK) return errno;
  struct stat found {};
  if (lstat(to.c_str(), &found) == 0) return EEXIST;
  return std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

}  // namespace

const std::string& MachineName() {
  static const std::string name = [] {
    char text[65] = {};
    if (gethostname(text, sizeof text - 1) != 0) return std::string("unknown");
    std::string plain(text);
    for (char& c : plain) {
      if (std::isalnum(static_cast<unsigned char>(c)) == 0) c = '-';
    }
    return plain;
  }();
  return name;
}

int ThisProcess() { return getpid(); }

void RemoveIfAbandoned(const std::filesystem::path& file, const WorkName& work) {
  const int descriptor = open(file.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return;
  const bool locked = flock(descriptor, LOCK_EX | LOCK_NB) == 0;
  const bool locksWork = locked || errno == EWOULDBLOCK;
  const bool isHere = work.machine == MachineName();
  bool abandoned = locked;
  // Not every network file system shares locks between machines.
  if (!isHere) abandoned = locked && IsOlderThanADay(file);
  if (isHere && !locksWork) abandoned = kill(work.process, 0) < 0 && errno == ESRCH;
  std::error_code ignored;
  if (abandoned) std::filesystem::remove(file, ignored);
  close(descriptor);
}

PartialFile::~PartialFile() {
  if (descriptor_ < 0) return;
  if (!kept_) unlink(workName_.c_str());
  close(descriptor_);
}

void PartialFile::Open() {
  do {
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = open(workName_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (descriptor_ < 0) Fail("cannot be written", errno);
  } while (flock(descriptor_, LOCK_EX) == 0 && !IsNamed(descriptor_, workName_));
}

void PartialFile::Append(std::span<const std::uint8_t> bytes) {
  if (const int failure = WriteAll(descriptor_, bytes); failure != 0) Fail("cannot be written", failure);
}

void PartialFile::Write(std::span<const std::uint8_t> bytes) {
  Open();
  int failure = WriteAll(descriptor_, bytes);
  // What a network file system could not store shows at a close; the first descriptor keeps the lock.
  if (const int second = dup(descriptor_); second >= 0 && close(second) != 0 && failure == 0) failure = errno;
  if (failure != 0) Fail("cannot be written", failure);
}

void PartialFile::Sync() {
  // Some file systems know no such wait.
  if (fsync(descriptor_) != 0 && errno != EINVAL && errno != ENOTSUP) Fail("cannot be written", errno);
}

void PartialFile::Keep() {
  int failure = 0;
  if (ifTaken_ == IfTaken::kFail) {
    failure = GiveFreeName(workName_, target_);
  } else if (std::rename(workName_.c_str(), target_.c_str()) != 0) {
    failure = errno;
  }
  if (failure == EEXIST && ifTaken_ == IfTaken::kFail) Fail("appeared while this one was being made, and was kept");
  if (failure != 0) Fail("cannot be given its name", failure);
  kept_ = true;
}

}  // namespace orvandel::stage
