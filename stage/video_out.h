// Encoded output through the FFmpeg libraries: numbered pictures and films. Files appear under their name only when
// whole.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "stage/picture.h"
#include "stage/timebase.h"

namespace orvandel::stage {

// Writes 8-bit RGBA with exactly the picture's bytes (all four, also where alpha is 0): beside the name, then renamed.
void WritePng(const std::filesystem::path& file, const Picture& picture);

class FilmWriter {
 public:
  virtual ~FilmWriter() = default;  // without Finish: the unfinished file is removed
  virtual void Add(const Picture& picture) = 0;
  virtual void Finish() = 0;
};

struct FilmOptions {
  Rational frameRate;
  Rational pixelAspect{1, 1};
  std::int32_t width = 0, height = 0;
};

// The container and codec follow from the file's extension. InputError for an unknown one (lists those known).
std::unique_ptr<FilmWriter> OpenFilm(const std::filesystem::path& file, const FilmOptions& options);
bool IsFilmName(const std::filesystem::path& file);

}  // namespace orvandel::stage
