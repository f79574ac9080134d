// Work names: "." STEM "." MACHINE "." PROCESS ".part". A writer holds a lock on its file, and the system drops the
// lock with the process, however that ends: a file without one is abandoned.
#include "stage/base/partial_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "stage/base/errors.h"

namespace orvandel::stage {
namespace {

constexpr std::string_view kEnding = ".part";

// Letters, digits and hyphens.
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

std::string StemOf(const std::filesystem::path& file) { return ShortStem(file.filename().string()); }

std::filesystem::path FolderOf(const std::filesystem::path& file) {
  return file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
}

// Where a symbolic link leads, whether or not there is a file; any other name as it is.
std::filesystem::path Followed(std::filesystem::path file) {
  constexpr int kMostLinks = 40;
  std::error_code failed;
  for (int link = 0; link < kMostLinks; ++link) {
    const std::filesystem::path next = std::filesystem::read_symlink(file, failed);
    if (failed) break;
    file = next.is_absolute() ? next : file.parent_path() / next;
  }
  return file;
}

struct WorkName {
  std::string stem, machine;
  pid_t process = 0;
};
std::optional<WorkName> ParseWorkName(std::string_view name) {
  if (!name.starts_with('.') || !name.ends_with(kEnding)) return std::nullopt;
  const std::string_view inner = name.substr(1, name.size() - 1 - kEnding.size());
  const std::size_t beforeProcess = inner.rfind('.');
  if (beforeProcess == std::string_view::npos || beforeProcess == 0) return std::nullopt;
  const std::size_t beforeMachine = inner.rfind('.', beforeProcess - 1);
  if (beforeMachine == std::string_view::npos) return std::nullopt;
  WorkName work{std::string(inner.substr(0, beforeMachine)),
                std::string(inner.substr(beforeMachine + 1, beforeProcess - beforeMachine - 1)), 0};
  const char* const end = inner.data() + inner.size();
  const auto [stop, error] = std::from_chars(inner.data() + beforeProcess + 1, end, work.process);
  if (error != std::errc() || stop != end || work.process <= 0) return std::nullopt;
  return work;
}

bool IsOlderThanADay(const std::filesystem::path& file) {
  std::error_code failed;
  const auto written = std::filesystem::last_write_time(file, failed);
  return !failed && std::filesystem::file_time_type::clock::now() - written > std::chrono::hours(24);
}

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

std::string ShortStem(const std::string& fileName) {
  constexpr std::size_t kLongest = 160, kBeginning = 140;
  if (fileName.size() <= kLongest) return fileName;
  std::uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
  for (const char c : fileName) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  return fmt::format("{}~{:016x}", fileName.substr(0, kBeginning), hash);
}

PartialFile::PartialFile(std::filesystem::path file, IfTaken ifTaken)
    : file_(std::move(file)),
      target_(ifTaken == IfTaken::kReplace ? Followed(file_) : file_),
      workName_(target_.parent_path() / fmt::format(".{}.{}.{}{}", StemOf(target_), MachineName(), getpid(), kEnding)),
      ifTaken_(ifTaken) {}

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

void PartialFile::Fail(const std::string& what, int errorNumber) const {
  Fail(what + ": " + std::generic_category().message(errorNumber));
}

void PartialFile::Fail(const std::string& what) const { throw WorkError(file_.string() + ": " + what); }

void RemoveAbandoned(const std::vector<std::filesystem::path>& files) {
  std::map<std::filesystem::path, std::set<std::string>> stems;  // by folder
  for (const std::filesystem::path& file : files) {
    const std::filesystem::path target = Followed(file);
    stems[FolderOf(target)].insert(StemOf(target));
  }
  for (const auto& [folder, ours] : stems) {
    std::error_code ignored;
    std::vector<std::pair<std::filesystem::path, WorkName>> left;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
      const auto work = ParseWorkName(entry.path().filename().string());
      if (work && ours.contains(work->stem)) left.emplace_back(entry.path(), *work);
    }
    for (const auto& [file, work] : left) RemoveIfAbandoned(file, work);
  }
}

}  // namespace orvandel::stage
