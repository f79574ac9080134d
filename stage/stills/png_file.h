// PNG files: the stills that every build reads and writes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "stage/base/partial_file.h"
#include "stage/picture/picture.h"
#include "stage/picture/picture16.h"
#include "stage/stills/png_compressor.h"

namespace orvandel::stage {

// Larger pictures are refused.
inline constexpr std::int64_t kMostPixels = 256'000'000;
inline constexpr const char* kTooLarge = "has more than 256 megapixels";

// Whether the file begins as a PNG does. An animated one is a film and does not count.
bool IsPng(const std::filesystem::path& file);

// The samples themselves, every form of PNG: 16 bits become the nearest of 8. Strict: a damaged file is refused rather
// than shown in part. Throws InputError with the file's name.
Picture ReadPng(const std::filesystem::path& file);

// A file's bytes of a picture whose alpha stands last: 8-bit RGBA. Throws WorkError.
std::string EncodePng(const Picture& rgba);

// Writes 8-bit RGBA with exactly the picture's bytes (all four, also where alpha is 0). The file appears under its name
// when it is whole. Throws WorkError with the file and the reason.
void WritePng(const std::filesystem::path& file, Picture picture, IfTaken ifTaken = IfTaken::kReplace,
              PngEffort effort = PngEffort::kDefault);
// The same with 16 bits a channel.
void WritePng16(const std::filesystem::path& file, const Picture16& picture, IfTaken ifTaken = IfTaken::kReplace,
                PngEffort effort = PngEffort::kDefault);

}  // namespace orvandel::stage
