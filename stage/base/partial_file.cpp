// Work names: "." STEM "." MACHINE "." PROCESS ".part".
#include "stage/base/partial_file.h"

#include <fmt/format.h>

#include <charconv>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "stage/base/errors.h"
#include "stage/base/partial_file_system.h"
#include "stage/base/path_text.h"

namespace orvandel::stage {
namespace {

constexpr std::string_view kEnding = ".part";

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
      workName_(target_.parent_path() /
                PathOf(fmt::format(".{}.{}.{}{}", StemOf(target_), MachineName(), ThisProcess(), kEnding))),
      ifTaken_(ifTaken) {}

void PartialFile::Fail(const std::string& what, int errorNumber) const {
  Fail(what + ": " + std::generic_category().message(errorNumber));
}

void PartialFile::Fail(const std::string& what) const { throw WorkError(file_.string() + ": " + what); }

void WriteWholeFile(const std::filesystem::path& file, std::span<const std::uint8_t> bytes, IfTaken ifTaken) {
  RemoveAbandoned({file});
  PartialFile partial(file, ifTaken);
  partial.Write(bytes);
  partial.Keep();
}

void WriteWholeFile(const std::filesystem::path& file, std::string_view text, IfTaken ifTaken) {
  WriteWholeFile(file, std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()), ifTaken);
}

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
