// Sound files for scenes that follow their loudness. An Addition.
#pragma once

#include <filesystem>

#include "stage/sources/audio_envelope.h"

namespace orvandel::stage {

class SoundReader {
 public:
  virtual ~SoundReader() = default;
  // The sound is the mean of its channels, at its own rate, from its first sample on. Throws InputError with the file's
  // name: no sound in it, not decodable, longer than 12 hours, a band that it cannot hold.
  virtual AudioEnvelope Measure(const std::filesystem::path& file, const AudioShape& shape) const = 0;
};

}  // namespace orvandel::stage
