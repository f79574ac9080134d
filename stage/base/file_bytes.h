// The files that a scene names: in the system's folders, or given as bytes where a program has no folders.
#pragma once

#include <cstddef>
#include <filesystem>
#include <istream>
#include <memory>
#include <string>
#include <vector>

namespace orvandel::stage {

// The files of a program without folders, as a page in a browser: an addition (addition.h). When it is there, no other
// file is. Names are as scenes write them.
class GivenFiles {
 public:
  virtual ~GivenFiles() = default;
  // Null: there is no such file. Valid while the files stay as they are.
  virtual const std::string* Find(const std::string& name) const = 0;
  virtual std::vector<std::string> Names() const = 0;
};
bool HasFolders();

enum class FileKind { kNone, kUnreachable, kPlain, kOther };
FileKind FileKindOf(const std::filesystem::path& file);

// The whole file as bytes. Throws InputError when it cannot be read or is larger than `limit`.
std::string ReadWholeFile(const std::filesystem::path& file, std::size_t limit);
// To read here and there; a failed stream when the file cannot be read.
std::unique_ptr<std::istream> OpenToRead(const std::filesystem::path& file);

// The names in a folder, in any order; none when it cannot be read.
std::vector<std::string> NamesInFolder(const std::filesystem::path& folder);

}  // namespace orvandel::stage
