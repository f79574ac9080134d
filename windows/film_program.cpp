// Films through the ffmpeg program: it gets raw frames and writes the unfinished file, which takes its name when the
// program ended well. Codecs and settings are those of the libraries' films (stage/films/film_out.cpp).
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstring>
#include <string_view>

#include "stage/base/addition.h"
#include "stage/base/errors.h"
#include "stage/films/film_files.h"
#include "windows/child_program.h"
#include "windows/console.h"

namespace orvandel::stage {
namespace {

using Arguments = std::vector<std::string>;

struct Format {
  const char *name, *container, *pixels;
  bool yuv, tagged;  // pictures for web pages carry no tags
  Arguments codec;
  const char* qualityOption;  // null: lossless
  std::array<const char*, 3> qualities;
  Arguments sound;
};

const Format& FormatOf(const FilmKind& kind) {
  // clang-format off
  static const std::vector<Format> formats{
      {"h264", "mp4", "yuv420p", true, true,
       {"-c:v", "libx264", "-preset", "medium", "-profile:v", "high", "-mbtree", "0", "-movflags", "+faststart"},
       "-crf", {"16", "21", "27"}, {"-c:a", "aac", "-b:a", "192k"}},
      {"prores4444", "mov", "yuva444p10le", true, true, {"-c:v", "prores_ks", "-profile:v", "4444", "-alpha_bits", "8"},
       "-bits_per_mb", {"0", "1200", "600"}, {"-c:a", "pcm_s16le"}},
      {"qtrle", "mov", "argb", false, true, {"-c:v", "qtrle"}, nullptr, {}, {"-c:a", "pcm_s16le"}},
      {"vp9", "webm", "yuva420p", true, true, {"-c:v", "libvpx-vp9", "-b:v", "0", "-cpu-used", "4", "-row-mt", "1"},
       "-crf", {"20", "30", "42"}, {"-c:a", "libopus", "-b:a", "160k"}},
      {"ffv1", "matroska", "bgra", false, true, {"-c:v", "ffv1", "-level", "3", "-slicecrc", "1"}, nullptr, {}, {"-c:a", "flac"}},
      {"apng", "apng", "rgba", false, false, {"-c:v", "apng", "-compression_level", "3", "-plays", "0"}, nullptr, {}, {}},
      {"webp", "webp", "bgra", false, false, {"-c:v", "libwebp_anim", "-lossless", "1", "-loop", "0"}, nullptr, {}, {}},
  };
  // clang-format on
  for (const Format& format : formats) {
    if (format.name == kind.name) return format;
  }
  throw InputError("this program makes no films of the kind " + kind.name);
}

double Seconds(const Rational& ratio) { return static_cast<double>(ratio.num) / static_cast<double>(ratio.den); }

// As the program reads files, whatever their names begin with.
std::string UrlOf(const std::filesystem::path& file) { return "file:" + windows::Utf8Of(file.wstring()); }

void Append(Arguments& arguments, const Arguments& more) {
  arguments.insert(arguments.end(), more.begin(), more.end());
}

// Straight from bytes to the film's pixels, in the narrow range of BT.709 where they are YUV.
Arguments PictureArguments(const Format& format, const FilmOptions& options) {
  std::string filter;
  if (format.yuv) {
    filter =
        "scale=in_range=pc:out_range=tv:in_color_matrix=bt709:out_color_matrix=bt709:"
        "flags=bicubic+accurate_rnd+bitexact+full_chroma_inp+full_chroma_int,";
  }
  filter += fmt::format("format={},setsar={}/{}", format.pixels, options.pixelAspect.num, options.pixelAspect.den);
  Arguments arguments{"-vf", filter};
  Append(arguments, format.codec);
  if (format.qualityOption != nullptr) {
    Append(arguments, {format.qualityOption, format.qualities[static_cast<std::size_t>(options.quality)]});
  }
  if (format.tagged) Append(arguments, {"-color_primaries", "bt709", "-color_trc", "bt709"});
  Append(arguments, {"-colorspace", format.yuv ? "bt709" : "rgb", "-color_range", format.yuv ? "tv" : "pc"});
  return arguments;
}

Arguments ArgumentsFor(const FilmKind& kind, const FilmOptions& options, std::int32_t width, std::int32_t height,
                       const std::filesystem::path& output) {
  Arguments arguments{"-hide_banner",
                      "-v",
                      "error",
                      "-nostdin",
                      "-y",
                      "-f",
                      "rawvideo",
                      "-pix_fmt",
                      "argb",
                      "-video_size",
                      fmt::format("{}x{}", width, height),
                      "-framerate",
                      fmt::format("{}/{}", options.frameRate.num, options.frameRate.den),
                      "-i",
                      "pipe:0"};
  const Format& format = FormatOf(kind);
  const bool sounds = options.sound && !kind.sound.empty();
  if (sounds) {
    const double start = Seconds(options.sound->start);
    if (start < 0) Append(arguments, {"-ss", fmt::format("{:.6f}", -start)});
    Append(arguments, {"-i", UrlOf(options.sound->file), "-map", "0:v", "-map", "1:a:0"});
    // Silence before it and after it; the pictures decide where the film ends.
    const long long delay = std::llround(std::max(0.0, start) * 1000);
    Append(arguments, {"-af", fmt::format("adelay={}:all=1,apad", delay), "-shortest"});
    Append(arguments, format.sound);
  }
  Append(arguments, PictureArguments(format, options));
  // The number of threads is fixed, since some encoders' output depends on it.
  Append(arguments, {"-threads", "4", "-flags", "+bitexact", "-fflags", "+bitexact", "-map_metadata", "-1", "-f",
                     format.container, UrlOf(output)});
  return arguments;
}

std::filesystem::path Ffmpeg() {
  const auto found = windows::FindProgram(L"ffmpeg");
  if (!found)
    throw WorkError("films are made by ffmpeg.exe, which is in no folder of the PATH; pictures (.png) need none");
  return *found;
}

class ProgramFilm final : public FilmWriter {
 public:
  ProgramFilm(const std::filesystem::path& file, const FilmKind& kind, const FilmOptions& options)
      : overBlack_(!kind.hasAlpha),
        width_(options.width + (kind.evenSize ? options.width % 2 : 0)),
        height_(options.height + (kind.evenSize ? options.height % 2 : 0)),
        options_(options),
        partial_(file, options.ifTaken),
        frame_(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_) * 4) {
    const std::filesystem::path program = Ffmpeg();
    partial_.Open();  // ours until it has its name
    program_.emplace(program, ArgumentsFor(kind, options, width_, height_, partial_.WorkName()));
  }

  void Add(const PictureRows& picture) override {
    const std::size_t rowBytes = static_cast<std::size_t>(width_) * 4;
    for (std::int32_t y = 0; y < height_; ++y) {
      // Odd sizes repeat their last column or row.
      FillRow(picture.Row(std::min(y, picture.height - 1)), picture.width,
              &frame_[static_cast<std::size_t>(y) * rowBytes]);
    }
    if (!program_->Write(frame_)) Fail();
  }

  void Finish() override {
    if (program_->Finish() != 0) Fail();
    partial_.Keep();
  }

 private:
  void FillRow(const std::uint8_t* in, std::int32_t width, std::uint8_t* out) const {
    const std::size_t size = static_cast<std::size_t>(width) * 4;
    if (!overBlack_) {
      std::memcpy(out, in, size);
    } else {
      for (std::size_t i = 0; i < size; i += 4) {
        out[i] = 255;
        for (std::size_t c = i + 1; c < i + 4; ++c) out[c] = static_cast<std::uint8_t>((in[c] * in[i] + 127) / 255);
      }
    }
    if (width < width_) std::memcpy(out + size, out + size - 4, 4);
  }

  [[noreturn]] void Fail() {
    const std::uint32_t code = program_->Finish();
    std::string words = program_->Words();
    std::replace_if(
        words.begin(), words.end(), [](unsigned char c) { return std::iscntrl(c) != 0; }, ' ');
    partial_.Fail(fmt::format("ffmpeg ended with code {}: {}", static_cast<std::int32_t>(code), words));
  }

  bool overBlack_;
  std::int32_t width_, height_;
  FilmOptions options_;
  PartialFile partial_;
  std::vector<std::uint8_t> frame_;
  std::optional<windows::ChildProgram> program_;  // ends before the file, which it has open
};

class ProgramFilms final : public FilmFiles {
 public:
  std::unique_ptr<FilmWriter> Open(const std::filesystem::path& file, const FilmOptions& options) const override {
    return std::make_unique<ProgramFilm>(file, FilmKindOf(file, options.format), options);
  }
  void WriteExr(const std::filesystem::path& file, const Picture16&, IfTaken) const override {
    throw InputError(file.string() + ": this program writes no EXR pictures");
  }
  std::string Libraries() const override { return "films through ffmpeg.exe"; }
};

const ProgramFilms films;
const Addition<FilmFiles> entered(films);

}  // namespace
}  // namespace orvandel::stage
