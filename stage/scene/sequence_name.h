// Names of numbered pictures: "shot.%04d.png" stands for shot.0000.png, shot.0001.png and so on.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvandel::stage {

struct SequenceName {
  std::filesystem::path folder;
  std::string before, after;  // of the file name, around the number
  int digits = 1;             // the least number of digits, padded with zeros

  std::filesystem::path FileOf(std::int64_t number) const;
  // The number of a file name (without its folder) of this sequence.
  std::optional<std::int64_t> NumberOf(std::string_view fileName) const;
  // The numbers of the files that exist, ascending. Empty when the folder cannot be read.
  std::vector<std::int64_t> Existing() const;
};

// A "%d" or "%0Nd" (N 1..9) in the last part of the path; nothing when the name is a plain one.
std::optional<SequenceName> ParseSequenceName(const std::filesystem::path& file);

}  // namespace orvandel::stage
