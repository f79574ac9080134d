#include "web/core/given_films.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>

#include "stage/base/errors.h"
#include "stage/media/film_source.h"
#include "web/core/given_files.h"

namespace orvandel::web {

// Effects keep what they have used, at the size they draw at: this is what another size, or effect, may ask for again.
constexpr std::size_t kMostBytes = std::size_t{96} << 20;

struct GivenFilms::Film {
  struct Kept {
    stage::Picture picture;
    std::uint64_t asked;
  };
  std::string name;
  std::vector<std::int64_t> times;
  std::int32_t unitsPerSecond;
  std::map<std::size_t, Kept> kept{};
};

class GivenFilms::Pictures final : public stage::FilmPictures {
 public:
  Pictures(GivenFilms& films, std::shared_ptr<Film> film) : films_(films), film_(std::move(film)) {}

  stage::Rational Unit() const override { return {1, film_->unitsPerSecond}; }
  bool HasSeveralPictures() const override { return film_->times.size() > 1; }
  std::int64_t TimeOfPictureAt(std::int64_t time) override {
    const auto after = std::upper_bound(film_->times.begin(), film_->times.end(), time);
    return after == film_->times.begin() ? *after : *std::prev(after);
  }
  stage::Picture Decode(std::int64_t pictureTime) override {
    const stage::Picture* picture = films_.Asked(*film_, pictureTime);
    return picture == nullptr ? stage::Picture() : *picture;
  }

 private:
  GivenFilms& films_;
  std::shared_ptr<Film> film_;
};

class GivenFilms::Playing final : public stage::MediaSource {
 public:
  Playing(GivenFilms& films, std::shared_ptr<Film> film, const stage::Media& media, const stage::Timebase& time)
      : films_(films),
        film_(film),
        source_(stage::PlayedFilm(std::make_unique<Pictures>(films, std::move(film)), media, time)),
        time_(time) {
    films_.playing_.insert(this);
  }
  ~Playing() override { films_.playing_.erase(this); }
  Playing(const Playing&) = delete;
  Playing& operator=(const Playing&) = delete;

  bool Moves() const override { return source_->Moves(); }
  std::int64_t KeyAt(std::int32_t sceneTime) override { return source_->KeyAt(sceneTime); }
  stage::Picture Decode(std::int64_t key) override { return source_->Decode(key); }

  void AskFor(std::int32_t hostTime) { films_.Asked(*film_, KeyAt(time_.SceneTime(hostTime))); }

 private:
  GivenFilms& films_;
  std::shared_ptr<Film> film_;
  std::unique_ptr<stage::MediaSource> source_;
  stage::Timebase time_;
};

void GivenFilms::Put(const std::string& name, std::vector<std::int64_t> times, std::int32_t unitsPerSecond) {
  const bool rise = std::adjacent_find(times.begin(), times.end(), std::greater_equal<>()) == times.end();
  if (times.empty() || !rise || unitsPerSecond < 1) {
    throw stage::InputError(fmt::format("{}: a film has pictures, and their times rise", name));
  }
  films_[PlainName(name)] = std::make_shared<Film>(Film{name, std::move(times), unitsPerSecond});
}

bool GivenFilms::Has(const std::filesystem::path& file) const { return films_.count(PlainName(file)) != 0; }

void GivenFilms::PutPicture(const Place& place, stage::Picture picture) {
  const auto& [name, number] = place;
  const auto film = films_.find(PlainName(name));
  if (film == films_.end() || number >= film->second->times.size()) {
    throw stage::InputError(fmt::format("{}: there is no picture {} of such a film", name, number));
  }
  film->second->kept[number] = {std::move(picture), ++asked_};
}

std::unique_ptr<stage::MediaSource> GivenFilms::Open(const stage::Media& media, const stage::Timebase& time) {
  return std::make_unique<Playing>(*this, films_.at(PlainName(media.file)), media, time);
}

const stage::Picture* GivenFilms::Asked(Film& film, std::int64_t time) {
  const auto place = std::lower_bound(film.times.begin(), film.times.end(), time);
  const auto number = static_cast<std::size_t>(place - film.times.begin());
  const auto found = film.kept.find(number);
  if (found == film.kept.end()) {
    missing_.insert({film.name, number});
    return nullptr;
  }
  found->second.asked = ++asked_;
  return &found->second.picture;
}

void GivenFilms::AskFor(std::int32_t hostTime) {
  for (Playing* each : playing_) each->AskFor(hostTime);
}

void GivenFilms::KeepFew() {
  struct One {
    std::uint64_t asked;
    Film* film;
    std::size_t number;
  };
  std::vector<One> all;
  for (const auto& [name, film] : films_) {
    for (const auto& [number, kept] : film->kept) all.push_back({kept.asked, film.get(), number});
  }
  std::sort(all.begin(), all.end(), [](const One& a, const One& b) { return a.asked > b.asked; });
  std::size_t bytes = 0;
  for (const One& one : all) {
    bytes += one.film->kept.at(one.number).picture.bytes.size();
    if (bytes > kMostBytes) one.film->kept.erase(one.number);
  }
}

GivenFilms& TheFilms() {
  static GivenFilms films;
  return films;
}

}  // namespace orvandel::web
