// Sound files for scenes that follow their loudness. An Addition.
#pragma once

#include <filesystem>

#include "stage/sources/audio_envelope.h"

namespace orvandel::stage {

class SoundReader {
 public:
  virtual ~SoundReader() = default;
  // The sound is the mean of its channels, at its own rate, from its first sample on; a film's from the film's time 0
  // on. Throws InputError with the file's name: no sound in it, not decodable, longer than 12 hours, a band that it
  // cannot hold.
  virtual AudioEnvelope Measure(const std::filesystem::path& file, const AudioShape& shape) const = 0;
  // Throws where the file holds no sound that can be decoded, as far as its first samples tell.
  virtual void Try(const std::filesystem::path& file) const = 0;
};

}  // namespace orvandel::stage
