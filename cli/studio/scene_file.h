// The scene file on disk, which an editor may change at the same time: a text, and a tag by which a change shows.
#pragma once

#include <filesystem>
#include <mutex>
#include <string>

namespace orvandel::cli {

struct TaggedText {
  std::string text;
  std::string tag;  // an HTTP entity tag with its quotes; equal texts, equal tags
};

class SceneFile {
 public:
  explicit SceneFile(std::filesystem::path file) : file_(std::move(file)) {}

  const std::filesystem::path& File() const { return file_; }
  // What lies there now; without a file an empty text and the tag "gone". InputError when it cannot be read.
  TaggedText Read() const;
  // Writes the text in place of the one with that tag, whole or not at all; false: the file has another by now. The
  // file keeps its permissions. WorkError.
  bool Replace(const std::string& tag, const std::string& text);

 private:
  std::filesystem::path file_;
  std::mutex saving_;
};

std::string TagOf(const std::string& text);
inline constexpr const char* kGoneTag = "\"gone\"";

}  // namespace orvandel::cli
