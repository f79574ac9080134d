// A file under construction: it is written beside its name and takes the name only when it is whole.
#pragma once

#include <cstdint>
#include <filesystem>
#include <set>
#include <span>
#include <string>

namespace orvandel::stage {

class PartialFile {
 public:
  // Nothing is opened yet: a library may want to open WorkName() itself.
  explicit PartialFile(std::filesystem::path file);
  ~PartialFile();  // without Keep: what was written is removed
  PartialFile(const PartialFile&) = delete;
  PartialFile& operator=(const PartialFile&) = delete;

  const std::filesystem::path& WorkName() const { return workName_; }
  // Everything at once; WorkError.
  void Write(std::span<const std::uint8_t> bytes);
  // Renames to the file's own name, over what was there; WorkError.
  void Keep();

  // WorkError: the file, what failed, the system's reason for `errorNumber`.
  [[noreturn]] void Fail(const std::string& what, int errorNumber) const;
  [[noreturn]] void Fail(const std::string& what) const;

 private:
  std::filesystem::path file_, workName_;
  bool kept_ = false;
};

// Removes what processes of this machine that are gone have left of these files of the folder: those were killed, and
// nobody else will.
void RemoveAbandoned(const std::filesystem::path& folder, const std::set<std::string>& fileNames);

}  // namespace orvandel::stage
