// The media in a scene's folder and below, by the names that a scene would use. Nothing else on the machine can be
// named: neither "..", an absolute name, a hidden file nor a link leads out of the folder, whichever way it is written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "stage/base/partial_file.h"

namespace orvandel::cli {

// Pictures, sounds and films.
bool IsMediaName(std::string_view name);

class SceneFolder {
 public:
  // `folder` exists.
  explicit SceneFolder(const std::filesystem::path& folder);

  // Links followed. None: there is no such medium inside.
  std::optional<std::filesystem::path> Find(std::string_view name) const;

  struct Listed {
    std::uintmax_t size = 0;
    std::filesystem::file_time_type written;
    bool operator==(const Listed&) const = default;
  };
  struct Listing {
    std::map<std::string, Listed> files;  // by name
    bool more = false;                    // than a listing holds
  };
  Listing List() const;

  // Where a medium of that name may be put; its folders are made. None: outside, or no name of a medium.
  std::optional<std::filesystem::path> PlaceFor(std::string_view name) const;

 private:
  bool IsInside(const std::filesystem::path& canonical) const;

  std::filesystem::path root_;  // links followed
};

// A medium on its way in, in parts.
class NewMedium {
 public:
  explicit NewMedium(const std::filesystem::path& file) : file_(file), partial_(file, stage::IfTaken::kFail) {
    partial_.Open();
  }
  // Both throw WorkError.
  void Append(std::string_view bytes);
  enum class Outcome { kMade, kSame, kTaken };
  Outcome Finish();

 private:
  std::filesystem::path file_;
  stage::PartialFile partial_;
};

}  // namespace orvandel::cli
