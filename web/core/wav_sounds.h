// Sounds where there is no decoder: WAV files, as which a page hands over what its browser decoded.
#pragma once

#include <filesystem>

namespace orvandel::web {

// By its content, whatever it is called.
bool IsWav(const std::filesystem::path& file);

}  // namespace orvandel::web
