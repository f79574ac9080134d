// Sound files decoded through the FFmpeg libraries: any format that holds its sound in itself. Equal bytes across
// machines hold where the decoder works in whole numbers (WAV, FLAC, ALAC); others decode in floating point.
#include "stage/sources/sound_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include <fmt/format.h>

#include "stage/base/addition.h"
#include "stage/base/errors.h"
#include "stage/ffmpeg/sound_decoder.h"

namespace orvandel::stage {
namespace {

constexpr double kLoudest = 1e6;  // of a damaged file's samples, so that their squares stay numbers

template <typename Sample>
double SampleAt(const std::uint8_t* plane, std::size_t index) {
  Sample sample;
  std::memcpy(&sample, plane + index * sizeof sample, sizeof sample);
  return static_cast<double>(sample);
}

// One sample as -1..1, of a plane or of interleaved channels.
double Scaled(AVSampleFormat packedFormat, const std::uint8_t* plane, std::size_t index) {
  switch (packedFormat) {
    case AV_SAMPLE_FMT_U8:
      return (SampleAt<std::uint8_t>(plane, index) - 128) / 128;
    case AV_SAMPLE_FMT_S16:
      return SampleAt<std::int16_t>(plane, index) / 0x1p15;
    case AV_SAMPLE_FMT_S32:
      return SampleAt<std::int32_t>(plane, index) / 0x1p31;
    case AV_SAMPLE_FMT_S64:
      return SampleAt<std::int64_t>(plane, index) / 0x1p63;
    case AV_SAMPLE_FMT_FLT:
      return SampleAt<float>(plane, index);
    case AV_SAMPLE_FMT_DBL:
      return SampleAt<double>(plane, index);
    default:
      return 0;
  }
}

// From sample `from` on; the channels' mean.
void Mix(const AVFrame& frame, std::size_t from, EnvelopeFollower& follower) {
  const auto format = static_cast<AVSampleFormat>(frame.format);
  const bool planar = av_sample_fmt_is_planar(format) != 0;
  const AVSampleFormat packed = av_get_packed_sample_fmt(format);
  const auto channels = static_cast<std::size_t>(frame.ch_layout.nb_channels);
  for (std::size_t i = from; i < static_cast<std::size_t>(frame.nb_samples); ++i) {
    double sum = 0;
    for (std::size_t c = 0; c < channels; ++c) {
      sum +=
          planar ? Scaled(packed, frame.extended_data[c], i) : Scaled(packed, frame.extended_data[0], i * channels + c);
    }
    const double mean = sum / static_cast<double>(channels);
    follower.Add(std::isfinite(mean) ? std::clamp(mean, -kLoudest, kLoudest) : 0);
  }
}

AudioEnvelope MeasureSound(SoundDecoder& sound, const AudioShape& shape) {
  const int rate = sound.Rate();
  if (shape.low * 2 >= rate) {
    sound.Fail(fmt::format("holds {} samples a second and so no sound above {} Hz", rate, rate / 2));
  }
  EnvelopeFollower follower(shape, rate);
  std::int64_t measured = 0;
  while (sound.Next()) {
    for (; measured < sound.Position(); ++measured) follower.Add(0);
    const std::int64_t early = std::min<std::int64_t>(measured - sound.Position(), sound.Frame().nb_samples);
    Mix(sound.Frame(), static_cast<std::size_t>(early), follower);
    measured += sound.Frame().nb_samples - early;
  }
  return follower.Finish();
}

class FileReader final : public SoundReader {
 public:
  AudioEnvelope Measure(const std::filesystem::path& file, const AudioShape& shape) const override {
    SoundDecoder sound(file);
    return MeasureSound(sound, shape);
  }
  void Try(const std::filesystem::path& file) const override { SoundDecoder(file).Next(); }
};

const FileReader reader;
const Addition<SoundReader> entered(reader);

}  // namespace
}  // namespace orvandel::stage
