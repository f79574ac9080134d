// reference_frames.tsv: frames and the hashes of their bytes.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "stage/picture/picture.h"

namespace orvandel::stage {

struct Reference {
  std::string scene;
  std::int32_t frame = 0;
  std::string quality;  // "full" or "draft"
  std::int32_t downsample = 1;
  std::string hash;

  std::string Text() const {
    std::ostringstream text;
    text << scene << '\t' << frame << '\t' << quality << '\t' << downsample << '\t' << hash;
    return text.str();
  }
  bool SameSequence(const Reference& other) const { return quality == other.quality && downsample == other.downsample; }
};

inline std::vector<Reference> ReadTable(const std::filesystem::path& folder) {
  std::ifstream file(folder / "reference_frames.tsv");
  std::vector<Reference> table;
  std::string line;
  while (std::getline(file, line)) {
    if (line.empty() || line.front() == '#') continue;
    Reference row;
    std::istringstream fields(line);
    if (!(fields >> row.scene >> row.frame >> row.quality >> row.downsample >> row.hash)) {
      throw std::runtime_error("reference_frames.tsv: " + line);
    }
    table.push_back(row);
  }
  if (table.empty()) throw std::runtime_error("reference_frames.tsv holds no frame");
  return table;
}

// 64-bit FNV-1a over the picture's bytes alpha, red, green, blue, row by row from the top.
inline std::string HashOf(const Picture& picture) {
  std::uint64_t hash = 14695981039346656037u;
  for (const std::uint8_t byte : picture.bytes) hash = (hash ^ byte) * 1099511628211u;
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
  return text;
}

}  // namespace orvandel::stage
