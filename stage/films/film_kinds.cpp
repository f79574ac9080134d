// The kinds of film, and what is known of them without the libraries that make them.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <string_view>
#include <thread>

#include "stage/base/addition.h"
#include "stage/base/errors.h"
#include "stage/films/film_files.h"
#include "stage/films/film_limits.h"

namespace orvandel::stage {
namespace {

struct Kind {
  std::string_view extension, name, description;
  bool hasAlpha, lossless, evenSize;
  std::string_view sound;
  int fewestThreads, mostThreads;

  FilmKind Told() const {
    return {std::string(extension), std::string(name), std::string(description), hasAlpha, lossless, evenSize,
            std::string(sound)};
  }
};

// The first of an extension is its usual one. Threads: H.264's bytes depend on their number, VP9's on whether there are
// several, those of the others not. FFV1 pictures are cut into four slices; qtrle, apng and webp encode on one thread.
constexpr Kind kKinds[] = {
    {".mp4", "h264", "H.264, plays everywhere", false, false, true, "AAC", 4, 4},
    {".mov", "prores4444", "ProRes 4444, for editors", true, false, false, "PCM", 1, 16},
    {".mov", "qtrle", "QuickTime Animation, for editors", true, true, false, "PCM", 1, 1},
    {".webm", "vp9", "VP9, for browsers", true, false, false, "Opus", 2, 16},
    {".mkv", "ffv1", "FFV1, for archives", true, true, false, "FLAC", 1, 4},
    {".apng", "apng", "animated PNG, for web pages", true, true, false, "", 1, 1},
    {".webp", "webp", "animated WebP, for web pages", true, true, false, "", 1, 1},
};

std::string ExtensionOf(const std::filesystem::path& file) {
  std::string extension = file.extension().string();
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

std::string KnownKinds() {
  std::string list;
  for (const Kind& kind : kKinds) list += fmt::format("{}{} ({})", list.empty() ? "" : ", ", kind.extension, kind.name);
  return list;
}

const FilmFiles& Files(const std::filesystem::path& file) {
  const FilmFiles* files = Addition<FilmFiles>::Find();
  if (files == nullptr) throw InputError(file.string() + ": this program writes neither films nor EXR pictures");
  return *files;
}

}  // namespace

std::unique_ptr<FilmWriter> OpenFilm(const std::filesystem::path& file, const FilmOptions& options) {
  return Files(file).Open(file, options);
}

void WriteExr(const std::filesystem::path& file, const Picture16& picture, IfTaken ifTaken) {
  Files(file).WriteExr(file, picture, ifTaken);
}

std::string FilmLibraries() {
  const FilmFiles* files = Addition<FilmFiles>::Find();
  return files == nullptr ? "none for films" : files->Libraries();
}

// The libraries count the bytes of a picture with its margins in 31 bits.
bool CanBeFilm(std::int32_t width, std::int32_t height) {
  constexpr std::int64_t kMargin = 128, kBytes = 8;
  return width > 0 && height > 0 && (width + kMargin) * kBytes * (height + kMargin) < INT_MAX;
}

std::vector<FilmKind> FilmKinds() {
  std::vector<FilmKind> kinds;
  for (const Kind& kind : kKinds) kinds.push_back(kind.Told());
  return kinds;
}

FilmKind FilmKindOf(const std::filesystem::path& file, const std::string& format) {
  const std::string extension = ExtensionOf(file);
  for (const Kind& kind : kKinds) {
    if (kind.extension == extension && (format.empty() || kind.name == format)) return kind.Told();
  }
  const std::string found = format.empty() ? "\"" + extension + "\"" : "\"" + format + "\" in \"" + extension + "\"";
  throw InputError(
      fmt::format("{}: {} is not a film that can be written; there are {}", file.string(), found, KnownKinds()));
}

int EncoderThreads(std::string_view kind, int processors) {
  const Kind& found =
      *std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Kind& each) { return each.name == kind; });
  if (processors == 0) processors = static_cast<int>(std::min(std::thread::hardware_concurrency(), 256U));
  return std::clamp(processors, found.fewestThreads, found.mostThreads);
}

bool IsFilmName(const std::filesystem::path& file) {
  const std::string extension = ExtensionOf(file);
  return std::any_of(std::begin(kKinds), std::end(kKinds),
                     [&](const Kind& kind) { return kind.extension == extension; });
}

}  // namespace orvandel::stage
