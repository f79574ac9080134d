#include "stage/ffmpeg/sound_decoder.h"

#include <utility>

#include <fmt/format.h>

#include "stage/base/errors.h"
#include "stage/base/names.h"

namespace orvandel::stage {
namespace {

// Demuxers that read one file and no other.
constexpr const char* kFormats =
    "wav,w64,aiff,caf,au,mp3,flac,ogg,aac,ac3,eac3,amr,wv,tta,ape,asf,mov,matroska,webm,avi,mpeg,mpegts,flv,mxf,nut";
constexpr std::int64_t kMostSeconds = 12 * 3600;
// Stamps of containers that count milliseconds, or that round for other reasons, are off by less than a tenth of a
// second; a pause is longer.
constexpr int kPausesASecond = 10;

}  // namespace

SoundDecoder::SoundDecoder(std::filesystem::path file)
    : file_(std::move(file)), packet_(NewPacket()), frame_(NewFrame()) {
  Open();
}

void SoundDecoder::Fail(const std::string& reason) const {
  throw InputError(fmt::format("{}: {}", Quoted(file_.string()), reason));
}

void SoundDecoder::Open() {
  const AvComplaints complaints;
  AvOptions options;
  options.Set("protocol_whitelist", "file");
  options.Set("format_whitelist", kFormats);
  AVFormatContext* opened = nullptr;
  int code = avformat_open_input(&opened, ("file:" + file_.string()).c_str(), nullptr, options.Address());
  input_.reset(opened);
  if (code >= 0) code = avformat_find_stream_info(input_.get(), nullptr);
  if (code < 0) Fail("cannot be read as a sound: " + complaints.Explain(code));
  const AVCodec* decoder = nullptr;
  stream_ = av_find_best_stream(input_.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
  if (stream_ < 0 || decoder == nullptr) Fail("has no sound that can be decoded");
  for (unsigned i = 0; i < input_->nb_streams; ++i) {
    AVStream& stream = *input_->streams[i];
    if (static_cast<int>(i) == stream_) continue;
    stream.discard = AVDISCARD_ALL;
    const bool pictures = stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
    if (pictures && (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0) besidePictures_ = true;
  }
  codec_ = NewCodec(decoder);
  code = avcodec_parameters_to_context(codec_.get(), input_->streams[stream_]->codecpar);
  codec_->pkt_timebase = input_->streams[stream_]->time_base;
  codec_->flags |= AV_CODEC_FLAG_BITEXACT;
  codec_->thread_count = 1;
  if (code >= 0) code = avcodec_open2(codec_.get(), decoder, nullptr);
  if (code < 0) Fail("cannot be decoded: " + complaints.Explain(code));
  if (codec_->sample_rate <= 0) Fail("does not tell how many samples a second has");
}

bool SoundDecoder::Receive() {
  const int rate = codec_->sample_rate;
  while (avcodec_receive_frame(codec_.get(), frame_.get()) >= 0) {
    if (frame_->nb_samples == 0) continue;
    if (frame_->sample_rate != rate) Fail("changes its samples a second on the way");
    Place();
    taken_ += frame_->nb_samples;
    if (position_ > kMostSeconds * rate) Fail("is longer than 12 hours");
    next_ = position_ + frame_->nb_samples;
    return true;
  }
  return false;
}

void SoundDecoder::Place() {
  position_ = next_;
  const std::int64_t stamp = frame_->best_effort_timestamp;
  if (besidePictures_ && stamp != AV_NOPTS_VALUE) {
    const std::int64_t due = av_rescale_q(stamp, codec_->pkt_timebase, {1, codec_->sample_rate});
    if (taken_ == 0 || due > next_ + codec_->sample_rate / kPausesASecond) position_ = due;
  }
}

// False at the end. A packet that the decoder refuses is passed over: many files begin or end with a broken one.
bool SoundDecoder::Feed(const AvComplaints& complaints) {
  const int code = av_read_frame(input_.get(), packet_.get());
  if (code < 0) {
    if (code != AVERROR_EOF) Fail("cannot be read: " + complaints.Explain(code));
    avcodec_send_packet(codec_.get(), nullptr);
    return false;
  }
  if (packet_->stream_index == stream_) avcodec_send_packet(codec_.get(), packet_.get());
  av_packet_unref(packet_.get());
  return true;
}

bool SoundDecoder::Next() {
  const AvComplaints complaints;
  while (!Receive()) {
    if (!atEnd_) {
      atEnd_ = !Feed(complaints);
      continue;
    }
    if (taken_ == 0) Fail("no sound in it can be decoded");
    return false;
  }
  return true;
}

}  // namespace orvandel::stage
