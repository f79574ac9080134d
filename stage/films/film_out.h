// Films written through the FFmpeg libraries. A file appears under its name only when it is complete.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "stage/base/partial_file.h"
#include "stage/picture/picture16.h"
#include "stage/picture/picture_rows.h"
#include "stage/scene/timebase.h"

namespace orvandel::stage {

// Both functions throw WorkError with the file and the reason.
class FilmWriter {
 public:
  virtual ~FilmWriter() = default;  // without Finish: the unfinished file is removed
  virtual void Add(const PictureRows& picture) = 0;
  virtual void Finish() = 0;
};

// Half floats in linear light, colour times alpha.
void WriteExr(const std::filesystem::path& file, const Picture16& picture, IfTaken ifTaken = IfTaken::kReplace);

// The sound of a film.
struct FilmSound {
  std::filesystem::path file;
  Rational
      start;  // seconds from the film's first picture to the sound's time 0; below 0: the film starts inside the sound
};

// The trade of quality for file size of lossy formats.
enum class FilmQuality { kHigh, kMedium, kLow };

struct FilmOptions {
  Rational frameRate;
  Rational pixelAspect{1, 1};
  std::int32_t width = 0, height = 0;
  IfTaken ifTaken = IfTaken::kReplace;
  std::string format = {};  // where an extension has several: "prores4444", "qtrle"; empty: the usual one
  FilmQuality quality = FilmQuality::kHigh;
  std::optional<FilmSound> sound = {};  // only for kinds of film that carry sound
  bool isOpaque = false;                // every picture covers what would stand behind it
  int processors = 0;                   // that the encoder is to use; 0: the machine's. The bytes are the same
};

// The file's extension decides container and codec. InputError for an unknown one, with a list of the known ones.
//   .mp4   H.264: no alpha, the pictures stand over black; odd sizes repeat their last column or row
//   .mov   ProRes 4444 (10 bits, alpha 8); or QuickTime Animation, lossless
//   .webm  VP9 with alpha
//   .mkv   FFV1, lossless, with alpha
//   .apng  animated PNG, with alpha
//   .webp  animated WebP, lossless, with alpha
std::unique_ptr<FilmWriter> OpenFilm(const std::filesystem::path& file, const FilmOptions& options);
bool IsFilmName(const std::filesystem::path& file);

// Every kind of film that can be written, in the order of preference within an extension.
struct FilmKind {
  std::string extension, name, description;
  bool hasAlpha = false, lossless = false;
  bool evenSize = false;  // odd sizes repeat their last column or row
  std::string sound;      // the sound's coding; empty: no sound
};
std::vector<FilmKind> FilmKinds();
// The kind that OpenFilm writes for this name and format. InputError, as OpenFilm.
FilmKind FilmKindOf(const std::filesystem::path& file, const std::string& format);
// How many threads the kind's encoder uses on that many processors (0: the machine's). Where its bytes depend on the
// number of threads, the number is the same on every machine.
int EncoderThreads(std::string_view kind, int processors = 0);

}  // namespace orvandel::stage
