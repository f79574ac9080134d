// Films that the script decodes: it says when each picture is shown, and hands in those that a frame turns out to need.
// Until then they are transparent, and the frame has to be asked for again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "stage/media/media_in.h"
#include "stage/picture/picture.h"

namespace orvandel::web {

class GivenFilms {
 public:
  // A film's name, as given to Put, and a picture's number, from 0.
  using Place = std::pair<std::string, std::size_t>;

  // A film of that name is replaced. `times` in units. InputError where they are not ascending or there are none.
  void Put(const std::string& name, std::vector<std::int64_t> times, std::int32_t unitsPerSecond);
  bool Has(const std::filesystem::path& file) const;
  void Clear() { films_.clear(); }
  // InputError where there is no such film or picture.
  void PutPicture(const Place& place, stage::Picture picture);

  // The film must exist (Has).
  std::unique_ptr<stage::MediaSource> Open(const stage::Media& media, const stage::Timebase& time);

  // Asks for the pictures that all open films show at that time, before they are drawn.
  void AskFor(std::int32_t hostTime);
  // The pictures that were asked for and are not there.
  const std::set<Place>& Missing() const { return missing_; }
  void ForgetMissing() { missing_.clear(); }
  // Drops all pictures but those asked for last.
  void KeepFew();

 private:
  struct Film;
  class Pictures;
  class Playing;
  const stage::Picture* Asked(Film& film, std::int64_t time);

  std::map<std::string, std::shared_ptr<Film>> films_;  // by plain name (given_files.h)
  std::set<Playing*> playing_;
  std::set<Place> missing_;
  std::uint64_t asked_ = 0;
};

GivenFilms& TheFilms();

}  // namespace orvandel::web
