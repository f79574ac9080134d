// Sounds where there is no decoder's library: WAV files alone.
#include "stage/base/addition.h"
#include "stage/base/errors.h"
#include "stage/sound/wav_file.h"
#include "stage/sources/sound_reader.h"

namespace orvandel::stage {
namespace {

class WavSounds final : public SoundReader {
 public:
  AudioEnvelope Measure(const std::filesystem::path& file, const AudioShape& shape) const override {
    Try(file);
    return MeasureWav(file, shape);
  }
  void Try(const std::filesystem::path& file) const override {
    if (!IsWav(file)) throw InputError(file.string() + ": is not a WAV file, and this program reads no other sounds");
  }
};

const WavSounds reader;
const Addition<SoundReader> entered(reader);

}  // namespace
}  // namespace orvandel::stage
