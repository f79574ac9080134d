#include "cli/studio/scene_folder.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <system_error>
#include <vector>

#include "cli/studio/page_files.h"

namespace orvandel::cli {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostListed = 2000, kMostLookedAt = 100000;
constexpr int kDeepest = 8;

// Names go into JSON and into scenes.
bool IsText(std::string_view name) {
  const auto isSign = [](unsigned char c) { return c >= ' ' && c != '\\' && c != 0x7F; };
  try {
    return std::all_of(name.begin(), name.end(), isSign) && !nlohmann::json(name).dump().empty();
  } catch (const nlohmann::json::exception&) {
    return false;  // not UTF-8
  }
}

// As scenes write them: parts between slashes, none of which is empty, hidden or leads upward.
std::optional<fs::path> PlainName(std::string_view name) {
  if (!IsText(name)) return std::nullopt;
  fs::path path;
  for (std::size_t begin = 0; begin <= name.size();) {
    const std::size_t end = std::min(name.find('/', begin), name.size());
    const std::string_view part = name.substr(begin, end - begin);
    if (part.empty() || part.front() == '.') return std::nullopt;
    path /= part;
    begin = end + 1;
  }
  return path;
}

bool SameBytes(const fs::path& a, const fs::path& b) {
  std::ifstream first(a, std::ios::binary), second(b, std::ios::binary);
  std::vector<char> one(65536), other(65536);
  while (first && second) {
    first.read(one.data(), static_cast<std::streamsize>(one.size()));
    second.read(other.data(), static_cast<std::streamsize>(other.size()));
    if (first.gcount() != second.gcount()) return false;
    if (!std::equal(one.begin(), one.begin() + first.gcount(), other.begin())) return false;
  }
  return first.eof() && second.eof();
}

}  // namespace

bool IsMediaName(std::string_view name) {
  const std::string_view type = ContentTypeOf(name);
  return type != "image/x-icon" &&
         (type.starts_with("image/") || type.starts_with("audio/") || type.starts_with("video/"));
}

SceneFolder::SceneFolder(const fs::path& folder) : root_(fs::canonical(folder.empty() ? "." : folder)) {}

bool SceneFolder::IsInside(const fs::path& canonical) const {
  return std::mismatch(root_.begin(), root_.end(), canonical.begin(), canonical.end()).first == root_.end();
}

std::optional<fs::path> SceneFolder::Find(std::string_view name) const {
  const auto plain = PlainName(name);
  if (!plain || !IsMediaName(name)) return std::nullopt;
  std::error_code failed;
  const fs::path file = fs::canonical(root_ / *plain, failed);
  // The link's target is asked as well: "picture.png" may lead to a file of keys inside the folder.
  if (failed || !IsInside(file) || !IsMediaName(file.filename().string()) || !fs::is_regular_file(file, failed)) {
    return std::nullopt;
  }
  return file;
}

SceneFolder::Listing SceneFolder::List() const {
  Listing listing;
  std::error_code failed;
  std::size_t lookedAt = 0;
  fs::recursive_directory_iterator entry(root_, fs::directory_options::skip_permission_denied, failed);
  for (; !failed && entry != fs::recursive_directory_iterator(); entry.increment(failed)) {
    if (++lookedAt > kMostLookedAt || listing.files.size() == kMostListed) {
      listing.more = true;
      break;
    }
    const bool hidden = entry->path().filename().string().starts_with('.');
    if (hidden || entry.depth() >= kDeepest) entry.disable_recursion_pending();
    const std::string name = entry->path().lexically_relative(root_).generic_string();
    const auto file = Find(name);
    if (!file) continue;
    std::error_code gone;
    const Listed listed{fs::file_size(*file, gone), fs::last_write_time(*file, gone)};
    if (!gone) listing.files.emplace(name, listed);
  }
  return listing;
}

std::optional<fs::path> SceneFolder::PlaceFor(std::string_view name) const {
  const auto plain = PlainName(name);
  if (!plain || !IsMediaName(name)) return std::nullopt;
  const fs::path folder = (root_ / *plain).parent_path();
  std::error_code failed;
  // Before folders are made, so that none is made outside.
  if (!IsInside(fs::weakly_canonical(folder, failed)) || failed) return std::nullopt;
  fs::create_directories(folder, failed);
  const fs::path made = fs::canonical(folder, failed);
  if (failed || !IsInside(made)) return std::nullopt;
  return made / plain->filename();
}

void NewMedium::Append(std::string_view bytes) {
  partial_.Append({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

NewMedium::Outcome NewMedium::Finish() {
  std::error_code failed;
  if (fs::exists(fs::symlink_status(file_, failed))) {
    return fs::is_regular_file(file_, failed) && SameBytes(file_, partial_.WorkName()) ? Outcome::kSame
                                                                                       : Outcome::kTaken;
  }
  partial_.Keep();
  return Outcome::kMade;
}

}  // namespace orvandel::cli
