// The names of numbered pictures: "out/ring.%04d.png", "out/ring.####.png".
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace orvandel::cli {

// The place for the number is looked for in the last part of the path only: a folder may be called "takes #2".
// "%d" or "%0Nd" (N digits at least) or a run of '#' (as many digits at least), once.
class OutputPattern {
 public:
  // Throws InputError for two places, for a '%' that is neither "%d" nor "%0Nd", and for a missing file name; `option`
  // is the one that the text was given to.
  explicit OutputPattern(std::string_view text, std::string_view option = "--output");

  bool HasNumber() const { return hasNumber_; }
  // A name without a place gets ".####" before its extension.
  void AddNumber();
  // The file of one frame; without a place, the name itself.
  std::filesystem::path For(std::int32_t frame) const;
  // The files that there are with the name of any frame.
  std::vector<std::filesystem::path> Existing() const;
  std::string Extension() const;  // with its dot, lower case
  std::string Text() const;       // as written, with the place shown as '#'

 private:
  std::filesystem::path folder_;
  std::string before_, after_;  // of the file name, around the number
  int digits_ = 0;
  bool hasNumber_ = false;
};

}  // namespace orvandel::cli
