// What writes films and EXR pictures, behind OpenFilm and WriteExr (film_out.h). An Addition.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "stage/films/film_out.h"

namespace orvandel::stage {

class FilmFiles {
 public:
  virtual ~FilmFiles() = default;
  virtual std::unique_ptr<FilmWriter> Open(const std::filesystem::path& file, const FilmOptions& options) const = 0;
  virtual void WriteExr(const std::filesystem::path& file, const Picture16& picture, IfTaken ifTaken) const = 0;
  virtual std::string Libraries() const = 0;  // names and versions
};

}  // namespace orvandel::stage
