// Files that tests make for themselves.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvandel::test {

inline std::string ReadFile(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

inline void WriteFile(const std::filesystem::path& file, const std::string& text) {
  std::ofstream stream(file, std::ios::binary);
  if (!(stream << text).flush()) throw std::runtime_error("cannot write " + file.string());
}

// Every entry's name, hidden ones included, sorted; none when there is no such folder.
inline std::vector<std::string> NamesIn(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

// A folder of its own under the system's temporary one, removed with everything in it.
class TempFolder {
 public:
  TempFolder() {
    std::random_device dice;
    do {
      folder_ = std::filesystem::temp_directory_path() / ("orvandel_" + std::to_string(dice()));
    } while (!std::filesystem::create_directory(folder_));
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  std::filesystem::path operator/(const std::string& name) const { return folder_ / name; }
  std::vector<std::string> Names() const { return NamesIn(folder_); }

 private:
  std::filesystem::path folder_;
};

}  // namespace orvandel::test
