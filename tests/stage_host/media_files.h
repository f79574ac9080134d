// Files and pictures that the tests make for themselves.
#pragma once

#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "stage/ffmpeg/ffmpeg_support.h"
#include "stage/picture/picture.h"
#include "stage/scene/timebase.h"
#include "tests/support/error_of.h"
#include "tests/support/temp_folder.h"

namespace orvandel::stage {

using test::ErrorOf;
using test::TempFolder;

// Every byte random, a quarter of the pixels with alpha 0 and a quarter with alpha 255.
Picture RandomPicture(std::int32_t width, std::int32_t height, std::mt19937& random);

// A frame of the format with random samples (a palette too).
AvFrame RandomFrame(AVPixelFormat format, int width, int height, std::mt19937& random);

// The frame as a PNG file, through the libraries' own encoder.
void EncodePng(const std::filesystem::path& file, const AVFrame& frame);

std::vector<std::uint8_t> ReadBytes(const std::filesystem::path& file);
void WriteBytes(const std::filesystem::path& file, const std::vector<std::uint8_t>& bytes);

// A WAV file of two channels that are alike.
void WriteWave(const std::filesystem::path& file, int rate, const std::vector<std::int16_t>& samples);

// The curve of stored colours by its formula, 0 to 1.
double ToLinear(double stored);
double ToStored(double linear);

}  // namespace orvandel::stage
