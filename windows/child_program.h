// A program that reads what this one makes: found on the PATH, fed through a pipe, ended with this process.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orvandel::windows {

// NAME.exe in the folders of PATH; not in the current one, where anybody may have put it.
std::optional<std::filesystem::path> FindProgram(const std::wstring& name);

class ChildProgram {
 public:
  // Ctrl-C does not reach it. WorkError.
  ChildProgram(const std::filesystem::path& program, const std::vector<std::string>& arguments);
  ~ChildProgram();  // ends it, if it still runs
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;

  // False: it reads no more.
  bool Write(std::span<const std::uint8_t> bytes);
  // No more comes; waits for its end and returns its exit code.
  std::uint32_t Finish();
  // What it wrote to its standard error, the end of it; after Finish.
  const std::string& Words() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// All that run, at once.
void EndChildren();

}  // namespace orvandel::windows
