// WAV files, read without a decoder's library.
#pragma once

#include <filesystem>

#include "stage/sources/audio_envelope.h"

namespace orvandel::stage {

// By its content, whatever it is called.
bool IsWav(const std::filesystem::path& file);
// InputError where the file holds no samples that are known.
AudioEnvelope MeasureWav(const std::filesystem::path& file, const AudioShape& shape);

}  // namespace orvandel::stage
