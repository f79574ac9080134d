// The film libraries' part of the stage as a module of its own, which a program loads when the first film, sound or
// foreign picture is asked for: the libraries bring a hundred others with them, and loading those takes longer than
// drawing a dozen frames.
#pragma once

#include "stage/base/stage_clock.h"
#include "stage/films/film_files.h"
#include "stage/media/media_formats.h"
#include "stage/sources/sound_reader.h"

namespace orvandel::stage {

struct FilmModule {
  const FilmFiles* films;
  const MediaFormats* media;
  const SoundReader* sounds;
  StageSeconds (*takeStageSeconds)();  // that its code has spent: it has a clock of its own
};

inline constexpr const char* kFilmModuleEntry = "OrvandelFilmModule";
// Null for a program of another version, whose classes may differ.
using FilmModuleEntry = const FilmModule*(const char* version);

}  // namespace orvandel::stage
