// Adds the pictures and films that the film libraries read to the stage's media formats.
#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include "stage/base/addition.h"
#include "stage/films/film_reader.h"
#include "stage/films/frame_convert.h"
#include "stage/films/video_stream.h"
#include "stage/media/media_formats.h"

namespace orvandel::stage {
namespace {

// How many units (of `unit` seconds each) lie between the medium's start and the look-up for `hostTime`, rounded down
// or to the nearest. Exact: products of up to three words need more than 64 bits, so they are computed in 128.
std::int64_t UnitsSinceStart(std::int32_t hostTime, std::int32_t timeScale, Rational start, Rational unit,
                             bool toNearest) {
  __extension__ typedef __int128 Wide;
  Wide above = ((Wide{hostTime} + 1) * start.den - Wide{start.num} * timeScale) * unit.den * 2;
  const Wide below = Wide{timeScale} * start.den * unit.num * 2;
  if (toNearest) above += below / 2;
  const Wide quotient = above / below - (above % below < 0 ? 1 : 0);
  constexpr Wide kFar = INT64_MAX;
  return static_cast<std::int64_t>(std::clamp(quotient, -kFar, kFar));
}

class FilmSource final : public MediaSource {
 public:
  FilmSource(std::unique_ptr<FilmReader> film, const Media& media, const Timebase& time)
      : film_(std::move(film)), start_(media.start), timeScale_(time.timeScale) {}

  bool Moves() const override { return film_->HasSeveralPictures(); }
  std::int64_t KeyAt(std::int32_t hostTime) override {
    // Containers that count milliseconds round to the nearest: a picture due at 66.73 ms has the time 67.
    const AVRational base = film_->TimeBase();
    const bool rounded = base.num == 1 && base.den == 1000;
    return film_->TimeOfPictureAt(UnitsSinceStart(hostTime, timeScale_, start_, {base.num, base.den}, rounded));
  }
  Picture Decode(std::int64_t key) override { return film_->Decode(key); }

 private:
  std::unique_ptr<FilmReader> film_;
  Rational start_;
  std::int32_t timeScale_;
};

void MakeStraight(Picture& picture) {
  for (std::size_t i = 0; i < picture.bytes.size(); i += 4) {
    const unsigned alpha = picture.bytes[i];
    for (std::size_t k = i + 1; alpha != 0 && k < i + 4; ++k) {
      picture.bytes[k] = static_cast<std::uint8_t>(std::min(255U, (picture.bytes[k] * 255U + alpha / 2) / alpha));
    }
  }
}

class FilmFormats final : public MediaFormats {
 public:
  std::unique_ptr<MediaSource> OpenMoving(const Media& media, const Timebase& time) const override {
    auto stream = std::make_unique<VideoStream>(media.file);
    if (stream->IsStill()) return nullptr;
    return std::make_unique<FilmSource>(std::make_unique<FilmReader>(std::move(stream)), media, time);
  }

  Picture DecodeStill(const std::filesystem::path& file) const override {
    VideoStream stream(file);
    const AvFrame frame = NewFrame();
    if (!stream.Next(*frame)) stream.Fail("holds no picture");
    try {
      Picture picture = FrameConverter().Convert(*frame);
      if (stream.IsPremultiplied()) MakeStraight(picture);
      return picture;
    } catch (const std::runtime_error& error) {
      stream.Fail(error.what());
    }
  }
};

const FilmFormats formats;
const Addition<MediaFormats> entered(formats);

}  // namespace
}  // namespace orvandel::stage
