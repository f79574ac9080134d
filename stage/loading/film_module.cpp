#include "stage/loading/film_module.h"

#include <string_view>

#include "stage/base/addition.h"

// The one name that the module exports.
extern "C" __attribute__((visibility("default"))) const orvandel::stage::FilmModule* OrvandelFilmModule(
    const char* version) {
  using namespace orvandel::stage;
  if (std::string_view(version) != ORVANDEL_VERSION) return nullptr;
  static const FilmModule module{Addition<FilmFiles>::Find(), Addition<MediaFormats>::Find(),
                                 Addition<SoundReader>::Find(), TakeStageSeconds};
  return &module;
}
