// Sounds of a page: WAV files, as which it hands over what its browser decoded.
#include "stage/base/addition.h"
#include "stage/sound/wav_file.h"
#include "stage/sources/sound_reader.h"

namespace orvandel::web {
namespace {

// A sound that it cannot decode is silent, and Session says so: the rest of the scene still shows.
class WavSounds final : public stage::SoundReader {
 public:
  stage::AudioEnvelope Measure(const std::filesystem::path& file, const stage::AudioShape& shape) const override {
    return stage::IsWav(file) ? stage::MeasureWav(file, shape) : stage::AudioEnvelope({});
  }
  void Try(const std::filesystem::path&) const override {}
};

const WavSounds reader;
const stage::Addition<stage::SoundReader> entered(reader);

}  // namespace
}  // namespace orvandel::web
