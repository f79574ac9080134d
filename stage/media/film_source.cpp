#include "stage/media/film_source.h"

#include <algorithm>
#include <utility>

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
  FilmSource(std::unique_ptr<FilmPictures> film, Rational start, std::int32_t timeScale)
      : film_(std::move(film)), start_(start), timeScale_(timeScale) {}

  bool Moves() const override { return film_->HasSeveralPictures(); }
  std::int64_t KeyAt(std::int32_t hostTime) override {
    // Containers that count milliseconds round to the nearest: a picture due at 66.73 ms has the time 67.
    const Rational unit = film_->Unit();
    const bool rounded = unit.num == 1 && unit.den == 1000;
    return film_->TimeOfPictureAt(UnitsSinceStart(hostTime, timeScale_, start_, unit, rounded));
  }
  Picture Decode(std::int64_t key) override { return film_->Decode(key); }

 private:
  std::unique_ptr<FilmPictures> film_;
  Rational start_;
  std::int32_t timeScale_;
};

}  // namespace

std::unique_ptr<MediaSource> PlayedFilm(std::unique_ptr<FilmPictures> film, const Media& media, const Timebase& time) {
  return std::make_unique<FilmSource>(std::move(film), media.start, time.timeScale);
}

}  // namespace orvandel::stage
