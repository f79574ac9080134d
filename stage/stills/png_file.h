// PNG files: the stills that every build reads and writes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "stage/base/partial_file.h"
#include "stage/picture/picture.h"
#include "stage/picture/picture16.h"
#include "stage/picture/picture_rows.h"
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
// All bits of them: red, green, blue, alpha, of 16 bits the high byte first. As strict.
void ReadPngSamples(const std::filesystem::path& file, const std::function<void(std::span<const std::uint8_t>)>& take);

// Makes PNG files of four channels with exactly the picture's samples (all four, also where alpha is 0). Its memory
// serves the next picture as well; taking and writing may happen on different threads, one after the other.
class PngWriter {
 public:
  // What the file will hold: 8 bits a channel, or 16. The picture is not needed afterwards.
  void Take(const PictureRows& picture);
  void Take(const Picture16& picture);
  // The file appears under its name when it is whole. Throws WorkError with the file and the reason.
  void Write(const std::filesystem::path& file, IfTaken ifTaken, PngEffort effort);
  // The file's bytes, valid until the next call. Throws WorkError.
  std::span<const std::uint8_t> Pack(PngEffort effort);

 private:
  void Begin(std::int32_t width, std::int32_t height, int bits);
  std::uint8_t* BeginRow(std::int32_t y, std::uint8_t filter);

  std::int32_t width_ = 0, height_ = 0;
  int bits_ = 8;
  std::size_t rowBytes_ = 0;
  std::vector<std::uint8_t> scanlines_, row_, file_;
};

// A file's bytes of a picture whose alpha stands last: 8-bit RGBA. Throws WorkError.
std::string EncodePng(Picture rgba);

// PngWriter, for one picture.
void WritePng(const std::filesystem::path& file, const Picture& picture, IfTaken ifTaken = IfTaken::kReplace,
              PngEffort effort = PngEffort::kDefault);
void WritePng16(const std::filesystem::path& file, const Picture16& picture, IfTaken ifTaken = IfTaken::kReplace,
                PngEffort effort = PngEffort::kDefault);

}  // namespace orvandel::stage
