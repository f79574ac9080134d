#include "stage/base/partial_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

#include "stage/base/errors.h"

namespace orvandel::stage {
namespace {

constexpr std::string_view kEnding = ".part";

// Letters, digits and hyphens.
const std::string& MachineName() {
  static const std::string name = [] {
    char text[256] = {};
    if (gethostname(text, sizeof text - 1) != 0) return std::string("unknown");
    std::string plain(text);
    for (char& c : plain) {
      if (std::isalnum(static_cast<unsigned char>(c)) == 0) c = '-';
    }
    return plain;
  }();
  return name;
}

std::filesystem::path WorkNameOf(const std::filesystem::path& file) {
  // The process's own, so that two renders into one folder, from two machines too, do not write into each other's
  // unfinished files.
  return file.parent_path() / fmt::format(".{}.{}.{}{}", file.filename().string(), MachineName(), getpid(), kEnding);
}

// Of this machine's processes.
struct WorkName {
  std::string fileName;
  pid_t process = 0;
};
std::optional<WorkName> ParseWorkName(const std::string& name) {
  if (!name.starts_with('.') || !name.ends_with(kEnding)) return std::nullopt;
  const std::string inner = name.substr(1, name.size() - 1 - kEnding.size());
  const auto dot = inner.rfind('.');
  if (dot == std::string::npos) return std::nullopt;
  WorkName work{inner.substr(0, dot), 0};
  const char* const end = inner.data() + inner.size();
  const auto [stop, error] = std::from_chars(inner.data() + dot + 1, end, work.process);
  if (error != std::errc() || stop != end || work.process <= 0) return std::nullopt;
  const std::string machine = "." + MachineName();
  if (!work.fileName.ends_with(machine)) return std::nullopt;
  work.fileName.resize(work.fileName.size() - machine.size());
  return work;
}

bool IsGone(pid_t process) { return kill(process, 0) < 0 && errno == ESRCH; }

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

}  // namespace

PartialFile::PartialFile(std::filesystem::path file) : file_(std::move(file)), workName_(WorkNameOf(file_)) {}

PartialFile::~PartialFile() {
  std::error_code ignored;
  if (!kept_) std::filesystem::remove(workName_, ignored);
}

void PartialFile::Write(std::span<const std::uint8_t> bytes) {
  const int descriptor = open(workName_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0666);
  if (descriptor < 0) Fail("cannot be written", errno);
  const int failure = WriteAll(descriptor, bytes);
  const int closeFailure = close(descriptor) < 0 ? errno : 0;
  if (failure != 0 || closeFailure != 0) Fail("cannot be written", failure != 0 ? failure : closeFailure);
}

void PartialFile::Keep() {
  std::error_code failure;
  std::filesystem::rename(workName_, file_, failure);
  if (failure) Fail("cannot be given its name", failure.value());
  kept_ = true;
}

void PartialFile::Fail(const std::string& what, int errorNumber) const {
  Fail(what + ": " + std::generic_category().message(errorNumber));
}

void PartialFile::Fail(const std::string& what) const { throw WorkError(file_.string() + ": " + what); }

void RemoveAbandoned(const std::filesystem::path& folder, const std::set<std::string>& fileNames) {
  std::error_code ignored;
  std::vector<std::filesystem::path> abandoned;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
    const auto work = ParseWorkName(entry.path().filename().string());
    if (work && fileNames.contains(work->fileName) && IsGone(work->process)) abandoned.push_back(entry.path());
  }
  for (const std::filesystem::path& file : abandoned) std::filesystem::remove(file, ignored);
}

}  // namespace orvandel::stage
