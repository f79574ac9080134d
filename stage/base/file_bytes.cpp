#include "stage/base/file_bytes.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

#include "stage/base/addition.h"
#include "stage/base/errors.h"
#include "stage/base/names.h"

namespace orvandel::stage {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Refuse(const fs::path& file, std::string_view complaint) {
  throw InputError(fmt::format("{}: {}", Printable(file.string()), complaint));
}

const GivenFiles* Given() { return Addition<GivenFiles>::Find(); }

std::string ReadGiven(const fs::path& file, std::size_t limit) {
  const std::string* bytes = Given()->Find(file.string());
  if (bytes == nullptr) Refuse(file, "does not exist");
  if (bytes->size() > limit) Refuse(file, fmt::format("is larger than {} bytes", limit));
  return *bytes;
}

}  // namespace

bool HasFolders() { return Given() == nullptr; }

FileKind FileKindOf(const fs::path& file) {
  if (!HasFolders()) return Given()->Find(file.string()) == nullptr ? FileKind::kNone : FileKind::kPlain;
  std::error_code failure;
  const auto status = fs::status(file, failure);
  if (status.type() == fs::file_type::not_found) return FileKind::kNone;
  if (!fs::exists(status)) return FileKind::kUnreachable;
  return fs::is_regular_file(status) ? FileKind::kPlain : FileKind::kOther;
}

std::string ReadWholeFile(const fs::path& file, std::size_t limit) {
  if (!HasFolders()) return ReadGiven(file, limit);
  std::error_code failure;
  if (fs::is_directory(file, failure)) Refuse(file, "is a folder");
  errno = 0;
  std::ifstream in(file, std::ios::binary);
  if (!in) Refuse(file, errno == ENOENT ? "does not exist" : std::string("cannot be read: ") + std::strerror(errno));
  std::string text;
  char block[65536];
  while (in.read(block, sizeof block), in.gcount() > 0) {
    text.append(block, static_cast<std::size_t>(in.gcount()));
    if (text.size() > limit) Refuse(file, fmt::format("is larger than {} bytes", limit));
  }
  if (in.bad()) Refuse(file, "cannot be read");
  return text;
}

std::unique_ptr<std::istream> OpenToRead(const fs::path& file) {
  if (HasFolders()) return std::make_unique<std::ifstream>(file, std::ios::binary);
  const std::string* bytes = Given()->Find(file.string());
  auto in = std::make_unique<std::istringstream>(bytes == nullptr ? std::string() : *bytes);
  if (bytes == nullptr) in->setstate(std::ios::failbit);
  return in;
}

std::vector<std::string> NamesInFolder(const fs::path& folder) {
  std::vector<std::string> names;
  if (!HasFolders()) {
    for (const fs::path name : Given()->Names()) {
      if (name.parent_path() == folder) names.push_back(name.filename().string());
    }
    return names;
  }
  std::error_code failure;
  fs::directory_iterator entry(folder.empty() ? "." : folder, failure);
  for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
    names.push_back(entry->path().filename().string());
  }
  return names;
}

}  // namespace orvandel::stage
