// Whether a file is a whole PNG picture with alpha, and of which size: without decoding it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace orvandel::cli {

struct PngForm {
  std::int32_t width = 0, height = 0;
  int depth = 0;  // bits a channel
};

// From its first chunk, when its last one is there too; nothing for any other file.
std::optional<PngForm> FormOfPng(const std::filesystem::path& file);

}  // namespace orvandel::cli
