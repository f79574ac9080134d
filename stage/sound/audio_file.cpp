// Sound files decoded through the FFmpeg libraries: any format that holds its sound in itself. Equal bytes across
// machines hold where the decoder works in whole numbers (WAV, FLAC, ALAC); others decode in floating point.
#include "stage/sources/sound_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include <fmt/format.h>

#include "stage/base/addition.h"
#include "stage/base/errors.h"
#include "stage/base/names.h"
#include "stage/ffmpeg/ffmpeg_support.h"

namespace orvandel::stage {
namespace {

// Demuxers that read one file and no other.
constexpr const char* kFormats =
    "wav,w64,aiff,caf,au,mp3,flac,ogg,aac,ac3,eac3,amr,wv,tta,ape,asf,mov,matroska,webm,avi,mpeg,mpegts,flv,mxf,nut";
constexpr std::int64_t kMostSeconds = 12 * 3600;
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

class AudioDecoder {
 public:
  explicit AudioDecoder(const std::filesystem::path& file) : file_(file), packet_(NewPacket()), frame_(NewFrame()) {
    Open();
  }

  AudioEnvelope Measure(const AudioShape& shape) {
    rate_ = codec_->sample_rate;
    if (rate_ <= 0) Fail("does not tell how many samples a second has");
    if (shape.low * 2 >= rate_) {
      Fail(fmt::format("holds {} samples a second and so no sound above {} Hz", rate_, rate_ / 2));
    }
    EnvelopeFollower follower(shape, rate_);
    while (Feed()) TakeFrames(follower);
    TakeFrames(follower);
    if (taken_ == 0) Fail("no sound in it can be decoded");
    return follower.Finish();
  }

 private:
  [[noreturn]] void Fail(const std::string& reason) const {
    throw InputError(fmt::format("{}: {}", Quoted(file_.string()), reason));
  }

  void Open() {
    AvOptions options;
    options.Set("protocol_whitelist", "file");
    options.Set("format_whitelist", kFormats);
    AVFormatContext* opened = nullptr;
    int code = avformat_open_input(&opened, ("file:" + file_.string()).c_str(), nullptr, options.Address());
    input_.reset(opened);
    if (code >= 0) code = avformat_find_stream_info(input_.get(), nullptr);
    if (code < 0) Fail("cannot be read as a sound: " + complaints_.Explain(code));
    const AVCodec* decoder = nullptr;
    stream_ = av_find_best_stream(input_.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
    if (stream_ < 0 || decoder == nullptr) Fail("has no sound that can be decoded");
    for (unsigned i = 0; i < input_->nb_streams; ++i) {
      if (static_cast<int>(i) != stream_) input_->streams[i]->discard = AVDISCARD_ALL;
    }
    codec_ = NewCodec(decoder);
    code = avcodec_parameters_to_context(codec_.get(), input_->streams[stream_]->codecpar);
    codec_->flags |= AV_CODEC_FLAG_BITEXACT;
    codec_->thread_count = 1;
    if (code >= 0) code = avcodec_open2(codec_.get(), decoder, nullptr);
    if (code < 0) Fail("cannot be decoded: " + complaints_.Explain(code));
  }

  // False at the end. A packet that the decoder refuses is passed over: many files begin or end with a broken one.
  bool Feed() {
    int code = av_read_frame(input_.get(), packet_.get());
    if (code < 0) {
      if (code != AVERROR_EOF) Fail("cannot be read: " + complaints_.Explain(code));
      avcodec_send_packet(codec_.get(), nullptr);
      return false;
    }
    if (packet_->stream_index == stream_) avcodec_send_packet(codec_.get(), packet_.get());
    av_packet_unref(packet_.get());
    return true;
  }

  void TakeFrames(EnvelopeFollower& follower) {
    while (avcodec_receive_frame(codec_.get(), frame_.get()) >= 0) {
      if (frame_->sample_rate != rate_) Fail("changes its samples a second on the way");
      taken_ += frame_->nb_samples;
      if (taken_ > kMostSeconds * rate_) Fail("is longer than 12 hours");
      Mix(follower);
    }
  }

  void Mix(EnvelopeFollower& follower) const {
    const auto format = static_cast<AVSampleFormat>(frame_->format);
    const bool planar = av_sample_fmt_is_planar(format) != 0;
    const AVSampleFormat packed = av_get_packed_sample_fmt(format);
    const auto channels = static_cast<std::size_t>(frame_->ch_layout.nb_channels);
    for (std::size_t i = 0; i < static_cast<std::size_t>(frame_->nb_samples); ++i) {
      double sum = 0;
      for (std::size_t c = 0; c < channels; ++c) {
        sum += planar ? Scaled(packed, frame_->extended_data[c], i)
                      : Scaled(packed, frame_->extended_data[0], i * channels + c);
      }
      const double mean = sum / static_cast<double>(channels);
      follower.Add(std::isfinite(mean) ? std::clamp(mean, -kLoudest, kLoudest) : 0);
    }
  }

  AvComplaints complaints_;
  std::filesystem::path file_;
  AvInput input_;
  AvCodec codec_;
  AvPacket packet_;
  AvFrame frame_;
  int stream_ = -1;
  int rate_ = 0;            // samples a second
  std::int64_t taken_ = 0;  // samples of one channel
};

class FileReader final : public SoundReader {
 public:
  AudioEnvelope Measure(const std::filesystem::path& file, const AudioShape& shape) const override {
    return AudioDecoder(file).Measure(shape);
  }
};

const FileReader reader;
const Addition<SoundReader> entered(reader);

}  // namespace
}  // namespace orvandel::stage
