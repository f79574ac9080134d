// The path text of one <path> in an SVG file.
//
// Only elements named path and their attributes d, id, transform and style are looked at; viewBox, units and everything
// else that a viewer would draw is not. A path that a viewer would draw elsewhere than its numbers say (a transform on
// it or above it) is refused. The file may come from anyone: no document type, hence no entities, nothing is fetched,
// and size, depth and number of elements are bounded.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace orvandel::stage {

constexpr std::size_t kMaxSvgBytes = std::size_t{16} << 20;
constexpr int kMaxSvgDepth = 256;
constexpr std::size_t kMaxSvgElements = 1000000;

// `id` empty: the file must have exactly one path. Throws InputError that starts with the file.
std::string ReadSvgPathText(const std::filesystem::path& file, const std::string& id);

// The whole file as bytes. Throws InputError when it cannot be read or is larger than `limit`.
std::string ReadWholeFile(const std::filesystem::path& file, std::size_t limit);

}  // namespace orvandel::stage
