// Which sound a scene's film carries, and from where.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "stage/films/film_out.h"
#include "stage/scene/scene.h"

namespace orvandel::cli {

struct SoundChoice {
  std::optional<stage::FilmSound> sound;
  std::string note;  // why there is none where one is expected; may be empty
};

// The scene's own; else the one that its parameters follow, when they follow just one; else that of the film that
// stands behind, of which `footage` tells. Opened once, so that one that cannot be decoded shows now: InputError.
SoundChoice ChooseSound(const stage::Scene& scene, const std::optional<stage::Media>& footage,
                        const std::vector<std::int32_t>& frames);

}  // namespace orvandel::cli
