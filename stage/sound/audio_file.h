// A sound file's envelope, decoded through the FFmpeg libraries: any format that holds its sound in itself.
#pragma once

#include <filesystem>

#include "stage/sources/audio_envelope.h"

namespace orvandel::stage {

// The sound is the mean of its channels, at its own rate, from its first sample on. Equal bytes across machines hold
// where the decoder works in whole numbers (WAV, FLAC, ALAC); others decode in floating point.
// Throws InputError with the file's name: no sound in it, not decodable, longer than 12 hours, a band that it cannot
// hold.
AudioEnvelope MeasureAudio(const std::filesystem::path& file, const AudioShape& shape);

}  // namespace orvandel::stage
