// A file under construction: it is written beside its name and takes the name only when it is whole.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvandel::stage {

// What to do when another file has the name by the time this one is whole.
enum class IfTaken {
  kFail,    // leave the other one as it is
  kReplace  // put this one in its place; where the name is a symbolic link, in the place of the link's target
};

// The file name; of a long one the beginning and a hash of all of it, so that a name made from it fits where names may
// have 255 bytes.
std::string ShortStem(const std::string& fileName);

class PartialFile {
 public:
  // Nothing is opened yet.
  PartialFile(std::filesystem::path file, IfTaken ifTaken);
  ~PartialFile();  // without Keep: what was written is removed
  PartialFile(const PartialFile&) = delete;
  PartialFile& operator=(const PartialFile&) = delete;

  // In the folder of the finished file, with a name of its own for every process.
  const std::filesystem::path& WorkName() const { return workName_; }
  // Creates the file WorkName(), empty, and marks it as in use for as long as this object lives. For libraries that
  // open the file themselves: call it first. WorkError.
  void Open();
  // Behind what was appended before, once it is open; WorkError.
  void Append(std::span<const std::uint8_t> bytes);
  // Opens and writes everything at once; WorkError.
  void Write(std::span<const std::uint8_t> bytes);
  // Waits until the disk has what was written, for files that are somebody's only copy; WorkError.
  void Sync();
  // Gives the file its own name; WorkError.
  void Keep();

  // WorkError: the file, what failed, the system's reason for `errorNumber`.
  [[noreturn]] void Fail(const std::string& what, int errorNumber) const;
  [[noreturn]] void Fail(const std::string& what) const;

 private:
  std::filesystem::path file_;  // as the caller names it
  std::filesystem::path target_, workName_;
  IfTaken ifTaken_;
  int descriptor_ = -1;
  bool kept_ = false;
};

// A small file in one go; what a process that was killed while it wrote the file left of it is removed. WorkError.
void WriteWholeFile(const std::filesystem::path& file, std::span<const std::uint8_t> bytes, IfTaken ifTaken);
void WriteWholeFile(const std::filesystem::path& file, std::string_view text, IfTaken ifTaken);

// Removes the unfinished files that processes which are gone (killed, or lost with their machine) left of these files.
// Those of a process that still runs are never touched.
void RemoveAbandoned(const std::vector<std::filesystem::path>& files);

}  // namespace orvandel::stage
