#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <map>
#include <numeric>

#include "media_files.h"
#include "stage/base/errors.h"
#include "stage/films/film_out.h"
#include "stage/films/video_stream.h"
#include "stage/media/media_in.h"
#include "stage/picture/host_image.h"
#include "stage/picture/pixel_order.h"

namespace orvandel::stage {
namespace {

struct Format {
  const char* name;
  const char* extension;
  enum { kExact, kExactWhereVisible, kClose, kCloseOverBlack } keeps;
  int tolerance;
};

constexpr Format kFormats[] = {
    {"ffv1", ".mkv", Format::kExact, 0},
    {"qtrle", ".mov", Format::kExact, 0},
    {"apng", ".apng", Format::kExactWhereVisible, 0},
    {"prores4444", ".mov", Format::kClose, 6},
    {"vp9", ".webm", Format::kClose, 16},
    {"h264", ".mp4", Format::kCloseOverBlack, 16},
};

FilmOptions OptionsFor(const Format& format, int width, int height, Rational rate) {
  return {.frameRate = rate, .width = width, .height = height, .format = format.name};
}

// Moving ramps: lossy codecs hold them closely, and every picture differs clearly from its neighbours. Alpha is 0 or
// opaque in the outer parts and everything between in the middle.
Picture Ramp(int width, int height, int index) {
  Picture picture(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      std::uint8_t* pixel = &picture.bytes[static_cast<std::size_t>((y * width + x) * 4)];
      pixel[0] = static_cast<std::uint8_t>(std::clamp(x * 400 / width - 60, 0, 255));
      for (int c = 1; c < 4; ++c) {
        const int t = (c * y * 60 / height + 9 * index + 40 * c) % 400;
        pixel[c] = static_cast<std::uint8_t>(t < 200 ? t : 399 - t);
      }
    }
  }
  return picture;
}

void WriteRamps(const std::filesystem::path& file, const FilmOptions& options, int pictures) {
  const auto writer = OpenFilm(file, options);
  for (int i = 0; i < pictures; ++i) writer->Add(Ramp(options.width, options.height, i));
  EXPECT_FALSE(std::filesystem::exists(file)) << "not before it is whole";
  writer->Finish();
}

void ExpectKept(const Format& format, const Picture& sent, const Picture& got, int index) {
  ASSERT_GE(got.width, sent.width);
  for (int y = 0; y < sent.height; ++y) {
    for (int x = 0; x < sent.width; ++x) {
      const std::uint8_t* in = &sent.bytes[static_cast<std::size_t>((y * sent.width + x) * 4)];
      const std::uint8_t* out = &got.bytes[static_cast<std::size_t>((y * got.width + x) * 4)];
      if (format.keeps == Format::kCloseOverBlack) {
        ASSERT_EQ(out[0], 255);
        for (int c = 1; c < 4; ++c) ASSERT_NEAR(in[c] * in[0] / 255, out[c], format.tolerance) << format.name << index;
        continue;
      }
      ASSERT_NEAR(in[0], out[0], format.tolerance) << format.name << " picture " << index << " at " << x << "," << y;
      if (format.keeps != Format::kExact && in[0] < 16) continue;
      for (int c = 1; c < 4; ++c) ASSERT_NEAR(in[c], out[c], format.tolerance) << format.name << " picture " << index;
    }
  }
}

std::unique_ptr<MediaSource> Open(const std::filesystem::path& file, const Timebase& time) {
  return OpenMedia({"", file, {0, 1}}, time);
}

// What was written comes back picture by picture, in any order of asking, and there is nothing before or behind it.
TEST(Film, ComesBackPictureByPicture) {
  const TempFolder folder;
  std::mt19937 random(11);
  constexpr int kPictures = 40;
  for (const Format& format : kFormats) {
    for (const Rational rate : {Rational{25, 1}, Rational{30000, 1001}}) {
      // Animated PNG counts in hundred-thousandths of a second and adds up what it rounds.
      if (rate.den != 1 && std::string(format.name) == "apng") continue;
      const int width = 67, height = 35;  // odd
      const auto file = folder / (format.name + std::to_string(rate.num) + format.extension);
      WriteRamps(file, OptionsFor(format, width, height, rate), kPictures);

      const Timebase time = MakeTimebase(rate, {60, 1});
      const auto film = Open(file, time);
      EXPECT_TRUE(film->Moves());
      std::map<int, std::int64_t> keys;
      std::vector<int> frames(kPictures + 3);
      std::iota(frames.begin(), frames.end(), 0);
      for (const bool shuffled : {false, true}) {
        if (shuffled) std::shuffle(frames.begin(), frames.end(), random);
        const auto reader = Open(file, time);
        for (const int frame : frames) {
          const int shown = std::min(frame, kPictures - 1);
          const std::int64_t key = reader->KeyAt(time.TimeOfFrame(frame));
          EXPECT_EQ(keys.emplace(shown, key).first->second, key) << format.name << " " << frame;
          ExpectKept(format, Ramp(width, height, shown), reader->Decode(key), frame);
          if (HasFatalFailure()) return;
        }
      }
      EXPECT_EQ(keys.size(), static_cast<std::size_t>(kPictures));
      for (int i = 1; i < kPictures; ++i) EXPECT_LT(keys[i - 1], keys[i]) << format.name;
    }
  }
}

// What a reader of the file is told of its colours: where YUV is written BT.709 in the narrow range, else full RGB.
// Animated PNG has no such tags, and QuickTime none for the range.
void ExpectColors(const std::string& format, const AVCodecParameters& told) {
  if (format == "apng") return;
  const bool yuv = format == "prores4444" || format == "vp9" || format == "h264";
  EXPECT_EQ(told.color_primaries, AVCOL_PRI_BT709) << format;
  EXPECT_EQ(told.color_trc, AVCOL_TRC_BT709) << format;
  EXPECT_EQ(told.color_space, yuv ? AVCOL_SPC_BT709 : AVCOL_SPC_RGB) << format;
  if (format != "qtrle") {
    EXPECT_EQ(told.color_range, yuv ? AVCOL_RANGE_MPEG : AVCOL_RANGE_JPEG) << format;
  }
}

TEST(Film, RateAspectAndColoursAreWrittenExactly) {
  const TempFolder folder;
  for (const Format& format : kFormats) {
    const auto file = folder / (std::string(format.name) + format.extension);
    FilmOptions options = OptionsFor(format, 32, 16, {24000, 1001});
    options.pixelAspect = {10, 11};
    WriteRamps(file, options, 12);
    AVFormatContext* opened = nullptr;
    ASSERT_EQ(avformat_open_input(&opened, file.c_str(), nullptr, nullptr), 0);
    const AvInput input(opened);
    ASSERT_GE(avformat_find_stream_info(opened, nullptr), 0);
    const AVStream& stream = *input->streams[0];
    const AVRational rate = stream.avg_frame_rate;
    EXPECT_EQ(std::pair(rate.num, rate.den), std::pair(24000, 1001)) << format.name;
    AVRational aspect = stream.sample_aspect_ratio;
    if (aspect.num == 0) aspect = stream.codecpar->sample_aspect_ratio;
    if (std::string(format.name) == "vp9") {  // it has a whole size for showing, to which the pixels are stretched
      EXPECT_NEAR(av_q2d(aspect) * options.width, options.width * 10 / 11.0, 0.5);
    } else {
      EXPECT_EQ(std::pair(aspect.num, aspect.den), std::pair(10, 11)) << format.name;
    }
    ExpectColors(format.name, *stream.codecpar);
  }
}

// Whatever lies in fresh memory (a byte that an encoder takes from there would differ between the rounds), however many
// processors the machine has, and wherever the pictures lie.
TEST(Film, SameBytesEveryTime) {
  const TempFolder folder;
  constexpr int kProcessors[] = {1, 2, 3, 16};
  for (const Format& format : kFormats) {
    std::vector<std::uint8_t> first;
    for (const int processors : kProcessors) {
      mallopt(M_PERTURB, processors * 0x55 & 0xFF);
      const auto file = folder / (format.name + std::to_string(processors) + format.extension);
      FilmOptions options = OptionsFor(format, 208, 144, {30, 1});
      options.processors = processors;
      options.isOpaque = processors > 1 && format.keeps == Format::kCloseOverBlack;
      const auto writer = OpenFilm(file, options);
      for (int i = 0; i < 16; ++i) {
        Picture ramp = Ramp(options.width, options.height, i);
        if (options.isOpaque) CopyOverBlack(ramp.bytes.data(), ramp.bytes.data(), ramp.bytes.size() / 4);
        const HostImage padded(ramp);
        writer->Add(processors > 1 ? padded.Rows() : PictureRows(ramp));
      }
      writer->Finish();
      const std::vector<std::uint8_t> bytes = ReadBytes(file);
      if (first.empty()) first = bytes;
      EXPECT_TRUE(bytes == first) << format.name << " on " << processors;
    }
  }
  mallopt(M_PERTURB, 0);
}

// Browsers go by chunks of gamma and chroma where an animated PNG has them, and would shift its colours.
TEST(Film, ForWebPagesHasNoTagsAndExactTimes) {
  const TempFolder folder;
  constexpr int kPictures = 20;
  for (const char* extension : {".apng", ".webp"}) {
    WriteRamps(folder / (std::string("film") + extension), {.frameRate = {30000, 1001}, .width = 32, .height = 16},
               kPictures);
  }
  const auto apng = ReadBytes(folder / "film.apng"), webp = ReadBytes(folder / "film.webp");
  const auto holds = [](const std::vector<std::uint8_t>& bytes, std::string_view name) {
    return std::search(bytes.begin(), bytes.end(), name.begin(), name.end()) != bytes.end();
  };
  EXPECT_TRUE(holds(apng, "acTL") && !holds(apng, "gAMA") && !holds(apng, "cHRM"));
  // A WebP film is a list of chunks; each picture's says how many milliseconds it stands.
  ASSERT_TRUE(holds(webp, "ANIM"));
  const auto word = [&](std::size_t at) { return webp[at] | webp[at + 1] << 8 | webp[at + 2] << 16; };
  int pictures = 0, milliseconds = 0;
  for (std::size_t at = 12; at + 8 <= webp.size(); at += 8 + static_cast<std::size_t>(word(at + 4) + 1) / 2 * 2) {
    if (std::string(&webp[at], &webp[at] + 4) != "ANMF") continue;
    if (pictures > 0) {
      EXPECT_NEAR(milliseconds, pictures * 1001 / 30.0, 1) << pictures;  // cut to whole ones, never adding up
    }
    ++pictures;
    milliseconds += word(at + 8 + 12);
  }
  EXPECT_EQ(pictures, kPictures);
  EXPECT_NEAR(milliseconds, kPictures * 1001 / 30.0, 2);  // the last stamp and the last picture are both cut
}

TEST(Film, OfLowerQualityIsSmaller) {
  const TempFolder folder;
  for (const char* name : {"film.mp4", "film.mov", "film.webm"}) {
    std::uintmax_t before = UINTMAX_MAX;
    for (const FilmQuality quality : {FilmQuality::kHigh, FilmQuality::kLow}) {
      const auto file = folder / (std::to_string(before) + name);
      WriteRamps(file, {.frameRate = {25, 1}, .width = 160, .height = 96, .quality = quality}, 6);
      EXPECT_LT(std::filesystem::file_size(file), before) << name;
      before = std::filesystem::file_size(file);
    }
  }
}

// Light times alpha, to the precision of half floats.
TEST(WriteExr, HoldsLightTimesAlpha) {
  const TempFolder folder;
  std::mt19937 random(9);
  Picture16 picture(37, 20);
  for (std::uint16_t& word : picture.words) word = static_cast<std::uint16_t>(random());
  WriteExr(folder / "light.exr", picture);
  const AvFrame frame = NewFrame();
  ASSERT_TRUE(VideoStream(folder / "light.exr").Next(*frame));
  ASSERT_EQ(frame->format, AV_PIX_FMT_GBRAPF32);
  constexpr int kPlaneOf[] = {3, 2, 0, 1};
  for (std::size_t i = 0; i < picture.words.size() / 4; ++i) {
    const std::size_t x = i % 37, y = i / 37;
    for (std::size_t c = 0; c < 4; ++c) {
      const double stored = picture.words[4 * i + c] / 65535.0, alpha = picture.words[4 * i] / 65535.0;
      const double expected = c == 0 ? alpha : ToLinear(stored) * alpha;
      const int plane = kPlaneOf[c];
      const auto* row =
          reinterpret_cast<const float*>(frame->data[plane] + y * static_cast<std::size_t>(frame->linesize[plane]));
      ASSERT_NEAR(row[x], expected, expected / 1024 + 1e-6) << i << " " << c;
    }
  }
}

TEST(Film, OneThatIsNotFinishedLeavesNothing) {
  const TempFolder folder;
  for (const Format& format : kFormats) {
    const auto file = folder / (std::string("film") + format.extension);
    {
      const auto writer = OpenFilm(file, OptionsFor(format, 32, 16, {30, 1}));
      for (int i = 0; i < 5; ++i) writer->Add(Ramp(32, 16, i));
      EXPECT_THROW(writer->Add(Ramp(16, 16, 0)), WorkError) << "a picture of another size";
    }
    EXPECT_THROW(OpenFilm(file, OptionsFor(format, 32, 16, {30, 1}))->Finish(), WorkError) << "no picture at all";
    EXPECT_THROW(
        OpenFilm(folder / ("absent/film" + std::string(format.extension)), OptionsFor(format, 32, 16, {30, 1})),
        WorkError);
  }
  EXPECT_TRUE(folder.Names().empty());
}

TEST(Film, KnowsItsNames) {
  EXPECT_TRUE(IsFilmName("a.mp4") && IsFilmName("a.b.MOV") && IsFilmName("x/y.webm"));
  EXPECT_FALSE(IsFilmName("a.png") || IsFilmName("mp4") || IsFilmName("a.mp4.png"));
  FilmOptions options = OptionsFor(kFormats[0], 8, 8, {30, 1});
  for (const auto& [file, format] : {std::pair("a.xyz", ""), std::pair("a.mp4", "qtrle")}) {
    options.format = format;
    EXPECT_THAT(ErrorOf<InputError>([&] { OpenFilm(file, options); }), testing::HasSubstr(".mkv")) << "what there is";
  }
}

}  // namespace
}  // namespace orvandel::stage
