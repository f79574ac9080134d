// The sound of films: what was heard at a picture's time is heard at that picture in the file, to the sample where the
// coding loses nothing.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "media_files.h"
#include "stage/base/addition.h"
#include "stage/base/errors.h"
#include "stage/ffmpeg/sound_decoder.h"
#include "stage/films/film_out.h"
#include "stage/films/video_stream.h"
#include "stage/sources/sound_reader.h"

namespace orvandel::stage {
namespace {

// The value of sample `at` of the first channel.
double ValueAt(const AVFrame& frame, int at) {
  const auto format = static_cast<AVSampleFormat>(frame.format);
  const int step = av_sample_fmt_is_planar(format) != 0 ? 1 : frame.ch_layout.nb_channels;
  const std::uint8_t* sample = frame.extended_data[0] + std::ptrdiff_t{at} * step * av_get_bytes_per_sample(format);
  if (av_get_packed_sample_fmt(format) == AV_SAMPLE_FMT_FLT) {
    float value = 0;
    std::memcpy(&value, sample, sizeof value);
    return value;
  }
  if (av_get_packed_sample_fmt(format) == AV_SAMPLE_FMT_S32) {
    std::int32_t value = 0;
    std::memcpy(&value, sample, sizeof value);
    return value / 0x1p31;
  }
  std::int16_t value = 0;
  std::memcpy(&value, sample, sizeof value);
  return value / 0x1p15;
}

struct Heard {
  int rate = 0;
  std::vector<double> samples;  // of the first channel, from the film's time 0
};

Heard Listen(const std::filesystem::path& film) {
  SoundDecoder sound(film);
  Heard heard{sound.Rate(), {}};
  while (sound.Next()) {
    EXPECT_EQ(sound.Position(), static_cast<std::int64_t>(heard.samples.size())) << "a gap in " << film;
    for (int i = 0; i < sound.Frame().nb_samples; ++i) heard.samples.push_back(ValueAt(sound.Frame(), i));
  }
  return heard;
}

// Two channels of silence, but for a short click at each of these samples.
void WriteClicks(const std::filesystem::path& file, int rate, std::size_t length,
                 const std::vector<std::size_t>& clicks) {
  std::vector<std::int16_t> samples(length);
  for (const std::size_t click : clicks) {
    for (std::size_t i = click; i < std::min(click + 24, length); ++i) samples[i] = i % 2 == click % 2 ? 28000 : -14000;
  }
  WriteWave(file, rate, samples);
}

// The first sample of each click: louder than a third after a hundredth of a second of less.
std::vector<std::int64_t> ClicksIn(const Heard& heard) {
  std::vector<std::int64_t> clicks;
  std::int64_t last = -heard.rate;
  for (std::size_t i = 0; i < heard.samples.size(); ++i) {
    if (std::abs(heard.samples[i]) < 0.33) continue;
    const auto at = static_cast<std::int64_t>(i);
    if (at - last > heard.rate / 100) clicks.push_back(at);
    last = at;
  }
  return clicks;
}

void WriteFilm(const std::filesystem::path& file, Rational rate, int pictures, const FilmSound& sound) {
  const auto writer = OpenFilm(file, {.frameRate = rate, .width = 16, .height = 16, .sound = sound});
  for (int i = 0; i < pictures; ++i) writer->Add(Picture(16, 16));
  writer->Finish();
}

// Clicks at the beginnings of pictures, in films that begin anywhere in the sound or before it.
TEST(FilmSound, BelongsToItsPicture) {
  const TempFolder folder;
  std::mt19937 random(17);
  constexpr int kPictures = 60;
  for (const char* extension : {".mp4", ".mov", ".mkv", ".webm"}) {
    for (const int rate : {48000, 44100, 22050}) {
      const Rational fps = random() % 2 == 0 ? Rational{25, 1} : Rational{30000, 1001};
      const int first = static_cast<int>(random() % 40);                             // the film's first picture
      const Rational begins{static_cast<std::int64_t>(random() % 500) - 250, 1000};  // the sound, in the scene
      const double offset =
          first * static_cast<double>(fps.den) / static_cast<double>(fps.num) - static_cast<double>(begins.num) / 1000;
      std::vector<std::size_t> clicks;
      std::vector<double> dueSeconds;
      for (const int picture : {3, 17, 44, 59}) {
        const double inFilm = picture * static_cast<double>(fps.den) / static_cast<double>(fps.num);
        if (inFilm + offset < 0) continue;
        dueSeconds.push_back(inFilm);
        clicks.push_back(static_cast<std::size_t>(std::lround((inFilm + offset) * rate)));
      }
      WriteClicks(folder / "clicks.wav", rate, static_cast<std::size_t>(rate) * 5, clicks);
      const Rational start = Reduced({begins.num * fps.num - first * fps.den * 1000, 1000 * fps.num});
      const auto film = folder / (std::string("film") + extension);
      WriteFilm(film, fps, kPictures, {folder / "clicks.wav", start});

      const AvFrame picture = NewFrame();
      ASSERT_TRUE(VideoStream(film).Next(*picture));
      EXPECT_EQ(picture->pts, 0) << film;
      const Heard heard = Listen(film);
      const bool exact = std::string(extension) == ".mov" || std::string(extension) == ".mkv";
      const double seconds = kPictures * static_cast<double>(fps.den) / static_cast<double>(fps.num);
      // The last frame of AAC is whole; the file's own duration ends it where the film ends.
      const double whole = std::string(extension) == ".mp4" ? 1023 : 0;
      EXPECT_NEAR(static_cast<double>(heard.samples.size()), seconds * heard.rate + whole / 2, whole / 2 + 0.51)
          << film << rate;
      const auto found = ClicksIn(heard);
      ASSERT_EQ(found.size(), dueSeconds.size()) << film << " " << rate;
      for (std::size_t i = 0; i < found.size(); ++i) {
        const double tolerance = exact ? 1.01 : heard.rate * 0.0006;  // both roundings; a codec smears a click
        EXPECT_NEAR(static_cast<double>(found[i]), dueSeconds[i] * heard.rate, tolerance) << film << " " << rate;
      }
    }
  }
}

// Lossless where it can be, the same bytes every time; and a film's own sound is taken up by its stamps.
TEST(FilmSound, IsTakenFromFilmsAsFromSounds) {
  const TempFolder folder;
  WriteClicks(folder / "clicks.wav", 48000, 96000, {0, 4800, 48000});
  const Heard original = Listen(folder / "clicks.wav");
  for (const char* extension : {".mov", ".mkv", ".mp4", ".webm"}) {
    const auto first = folder / (std::string("first") + extension),
               second = folder / (std::string("second") + extension);
    WriteFilm(first, {25, 1}, 50, {folder / "clicks.wav", {0, 1}});
    WriteFilm(second, {25, 1}, 50, {folder / "clicks.wav", {0, 1}});
    EXPECT_EQ(ReadBytes(first), ReadBytes(second));
    if (std::string(extension) == ".mov" || std::string(extension) == ".mkv") {
      EXPECT_EQ(Listen(first).samples, original.samples);
    }
    WriteFilm(folder / "copy.mov", {25, 1}, 25, {first, {-1, 2}});  // half a second of it is over
    const auto clicks = ClicksIn(Listen(folder / "copy.mov"));
    ASSERT_EQ(clicks.size(), 1u) << extension;
    EXPECT_NEAR(static_cast<double>(clicks[0]), 24000, 30) << extension;
    const AudioEnvelope loudness = Addition<SoundReader>::Find()->Measure(first, {0, 0, 0, 0});
    EXPECT_LT(loudness.LevelAt(1), 0.05) << "between the first two clicks";
    EXPECT_GT(loudness.LevelAt(3), 0.5) << extension;
  }
  WriteBytes(folder / "noise", {1, 2, 3});
  EXPECT_THROW(Addition<SoundReader>::Find()->Try(folder / "noise"), InputError);
  EXPECT_THROW(WriteFilm(folder / "film.mp4", {25, 1}, 2, {folder / "noise", {0, 1}}), InputError);
  EXPECT_THROW(WriteFilm(folder / "film.apng", {25, 1}, 2, {folder / "clicks.wav", {0, 1}}), WorkError);
}

}  // namespace
}  // namespace orvandel::stage
