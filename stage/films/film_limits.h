// Which film libraries there are, and which picture sizes they accept.
#pragma once

#include <cstdint>
#include <string>

namespace orvandel::stage {

inline constexpr std::int32_t kLargestSquareFilm = 16255;  // pixels a side; a longer side takes a shorter other one

// Whether a film of this size can be encoded at all. A codec may have a lower limit, which OpenFilm reports.
bool CanBeFilm(std::int32_t width, std::int32_t height);

// Names and versions of the libraries, which are loaded for it: "libavformat 59.27.100, ...".
std::string FilmLibraries();

}  // namespace orvandel::stage
