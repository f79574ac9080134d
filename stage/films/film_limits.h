// What the film libraries at hand are, and which sizes they take.
#pragma once

#include <cstdint>
#include <string>

namespace orvandel::stage {

inline constexpr std::int32_t kLargestSquareFilm = 16255;  // pixels a side; a longer side takes a shorter other one

// Whether a film of this size can be encoded at all. A codec may have a lower limit of its own, which shows when the
// film is opened.
bool CanBeFilm(std::int32_t width, std::int32_t height);

// "libavformat 59.27.100, ...", as loaded.
std::string FilmLibraries();

}  // namespace orvandel::stage
