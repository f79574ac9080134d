// A film's sound: a file's samples from the time of the film's first picture on, encoded as the film progresses.
//
// The track is as long as the film, to the sample: silent before the file's sound begins and after it ends.
#pragma once

#include <cstdint>
#include <functional>

#include "stage/base/partial_file.h"
#include "stage/ffmpeg/ffmpeg_support.h"
#include "stage/ffmpeg/sound_decoder.h"
#include "stage/films/film_out.h"

namespace orvandel::stage {

// How a kind of film encodes its sound.
struct SoundCoding {
  const char* encoder = nullptr;      // null: no sound
  const char* deepEncoder = nullptr;  // for sounds of more than 16 bits a sample
  std::int64_t bitsAChannel = 0;      // per second; 0: lossless
};

// Throws InputError with the sound's file, WorkError with the film's.
class SoundTrack {
 public:
  using TakePacket = std::function<void(AVPacket&)>;  // stamps count samples

  // `film` must outlive the track.
  SoundTrack(const FilmSound& sound, const SoundCoding& coding, bool globalHeader, const PartialFile& film);

  const AVCodecContext& Codec() const { return *codec_; }
  // Encodes the samples before `seconds` of the film, in whole frames of the encoder.
  void AdvanceTo(AVRational seconds, const TakePacket& take);
  // Encodes all remaining samples before `seconds`.
  void Finish(AVRational seconds, const TakePacket& take);

 private:
  void OpenEncoder(const SoundCoding& coding, bool globalHeader);
  void OpenResampler();
  std::int64_t SamplesIn(AVRational seconds) const;
  std::int64_t Collected() const { return encoded_ + av_audio_fifo_size(waiting_.get()); }
  void CollectSome();
  void Convert(const std::uint8_t** data, int samples);
  void Keep(const AVFrame& frame);
  AvFrame Silence(AVSampleFormat format, const AVChannelLayout& layout, std::int64_t samples) const;
  void Encode(std::int64_t samples, const TakePacket& take);
  void TakePackets(const TakePacket& take);
  void Check(int code) const;

  const PartialFile& film_;
  SoundDecoder sound_;
  std::int64_t cursor_;      // the next sample of the sound
  bool holdsFrame_ = false;  // part of the decoded frame is still unused
  bool atEnd_ = false;
  AvCodec codec_;
  AvResampler resampler_;
  AvSampleQueue waiting_;  // converted, not yet encoded
  AvPacket packet_;
  std::int64_t encoded_ = 0;  // samples
};

}  // namespace orvandel::stage
