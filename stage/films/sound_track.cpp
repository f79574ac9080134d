#include "stage/films/sound_track.h"

#include <algorithm>
#include <array>
#include <new>
#include <string>
#include <vector>

#include <fmt/format.h>

namespace orvandel::stage {
namespace {

constexpr int kUsualRate = 48000;
constexpr int kUsualFrame = 1024;  // samples, where an encoder takes any number
constexpr std::int64_t kSilenceAtOnce = 4096;

bool IsDeep(AVSampleFormat format) {
  const AVSampleFormat packed = av_get_packed_sample_fmt(format);
  return packed != AV_SAMPLE_FMT_U8 && packed != AV_SAMPLE_FMT_S16;
}

// Encoders list what they accept; null means everything.
template <typename Value>
bool Takes(const Value* list, Value end, Value wanted) {
  if (list == nullptr) return true;
  for (; *list != end; ++list) {
    if (*list == wanted) return true;
  }
  return false;
}

AVSampleFormat FormatFor(const AVCodec& encoder, bool lossless, bool deep) {
  std::array formats{AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_FLT};
  if (lossless) formats.fill(deep ? AV_SAMPLE_FMT_S32 : AV_SAMPLE_FMT_S16);
  for (const AVSampleFormat format : formats) {
    if (Takes(encoder.sample_fmts, AV_SAMPLE_FMT_NONE, format)) return format;
  }
  return encoder.sample_fmts[0];
}

// Mono, stereo and 5.1 are kept; anything else is mixed down to stereo, which every player supports.
AVChannelLayout LayoutFor(const AVChannelLayout& sound) {
  constexpr int kSurround = 6;
  AVChannelLayout layout{};
  const bool known = sound.order == AV_CHANNEL_ORDER_NATIVE;
  av_channel_layout_default(
      &layout, sound.nb_channels == 1 || (known && sound.nb_channels == kSurround) ? sound.nb_channels : 2);
  return layout;
}

}  // namespace

SoundTrack::SoundTrack(const FilmSound& sound, const SoundCoding& coding, bool globalHeader, const PartialFile& film)
    : film_(film), sound_(sound.file), packet_(NewPacket()) {
  const AVRational start = ToAvRational(sound.start.num, sound.start.den);
  cursor_ = av_rescale_q(-start.num, {1, start.den}, {1, sound_.Rate()});
  OpenEncoder(coding, globalHeader);
  OpenResampler();
}

void SoundTrack::Check(int code) const {
  if (code < 0) film_.Fail("the sound cannot be encoded: " + AvErrorText(code));
}

void SoundTrack::OpenEncoder(const SoundCoding& coding, bool globalHeader) {
  const AvComplaints complaints;
  const AVCodecContext& sound = sound_.Codec();
  const bool deep = IsDeep(sound.sample_fmt);
  const char* name = deep ? coding.deepEncoder : coding.encoder;
  const AVCodec* encoder = avcodec_find_encoder_by_name(name);
  if (encoder == nullptr) film_.Fail(fmt::format("the libraries at hand have no encoder \"{}\"", name));
  codec_ = NewCodec(encoder);
  codec_->sample_fmt = FormatFor(*encoder, coding.bitsAChannel == 0, deep);
  codec_->sample_rate = Takes(encoder->supported_samplerates, 0, sound_.Rate()) ? sound_.Rate() : kUsualRate;
  codec_->ch_layout = LayoutFor(sound.ch_layout);
  codec_->time_base = {1, codec_->sample_rate};
  codec_->bit_rate = coding.bitsAChannel * codec_->ch_layout.nb_channels;
  codec_->flags |= AV_CODEC_FLAG_BITEXACT;
  codec_->thread_count = 1;
  if (globalHeader) codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  if (const int code = avcodec_open2(codec_.get(), encoder, nullptr); code < 0) {
    film_.Fail("the sound cannot be encoded: " + complaints.Explain(code));
  }
}

void SoundTrack::OpenResampler() {
  const AVCodecContext& sound = sound_.Codec();
  AVChannelLayout from = sound.ch_layout;
  if (from.order == AV_CHANNEL_ORDER_UNSPEC) av_channel_layout_default(&from, from.nb_channels);
  SwrContext* opened = nullptr;
  int code = swr_alloc_set_opts2(&opened, &codec_->ch_layout, codec_->sample_fmt, codec_->sample_rate, &from,
                                 sound.sample_fmt, sound_.Rate(), 0, nullptr);
  resampler_.reset(opened);
  if (code >= 0) code = swr_init(resampler_.get());
  Check(code);
  waiting_.reset(av_audio_fifo_alloc(codec_->sample_fmt, codec_->ch_layout.nb_channels, kUsualFrame));
  if (waiting_ == nullptr) throw std::bad_alloc();
}

std::int64_t SoundTrack::SamplesIn(AVRational seconds) const {
  return av_rescale_q(1, seconds, {1, codec_->sample_rate});
}

AvFrame SoundTrack::Silence(AVSampleFormat format, const AVChannelLayout& layout, std::int64_t samples) const {
  AvFrame frame = NewFrame();
  frame->nb_samples = static_cast<int>(std::min(samples, kSilenceAtOnce));
  frame->format = format;
  Check(av_channel_layout_copy(&frame->ch_layout, &layout));
  Check(av_frame_get_buffer(frame.get(), 0));
  av_samples_set_silence(frame->extended_data, 0, frame->nb_samples, layout.nb_channels, format);
  return frame;
}

// The next stretch of silence or sound, however long it is.
void SoundTrack::CollectSome() {
  if (atEnd_) return Keep(*Silence(codec_->sample_fmt, codec_->ch_layout, kSilenceAtOnce));
  if (!holdsFrame_) holdsFrame_ = sound_.Next();
  if (!holdsFrame_) {
    atEnd_ = true;
    return Convert(nullptr, 0);
  }
  const AVFrame& frame = sound_.Frame();
  const auto format = static_cast<AVSampleFormat>(frame.format);
  if (const std::int64_t pause = sound_.Position() - cursor_; pause > 0) {
    const AvFrame silence = Silence(format, frame.ch_layout, pause);
    cursor_ += silence->nb_samples;
    return Convert(const_cast<const std::uint8_t**>(silence->extended_data), silence->nb_samples);
  }
  holdsFrame_ = false;
  const auto early = static_cast<int>(std::min<std::int64_t>(cursor_ - sound_.Position(), frame.nb_samples));
  if (early == frame.nb_samples) return;
  const bool planar = av_sample_fmt_is_planar(format) != 0;
  const int channels = frame.ch_layout.nb_channels;
  std::vector<const std::uint8_t*> data(static_cast<std::size_t>(planar ? channels : 1));
  for (std::size_t i = 0; i < data.size(); ++i) {
    data[i] =
        frame.extended_data[i] + std::ptrdiff_t{early} * av_get_bytes_per_sample(format) * (planar ? 1 : channels);
  }
  cursor_ += frame.nb_samples - early;
  Convert(data.data(), frame.nb_samples - early);
}

void SoundTrack::Convert(const std::uint8_t** data, int samples) {
  const AvFrame frame = NewFrame();
  frame->nb_samples = swr_get_out_samples(resampler_.get(), samples);
  if (frame->nb_samples == 0) return;
  frame->format = codec_->sample_fmt;
  Check(av_channel_layout_copy(&frame->ch_layout, &codec_->ch_layout));
  Check(frame->nb_samples);
  Check(av_frame_get_buffer(frame.get(), 0));
  frame->nb_samples = swr_convert(resampler_.get(), frame->extended_data, frame->nb_samples, data, samples);
  Check(frame->nb_samples);
  Keep(*frame);
}

void SoundTrack::Keep(const AVFrame& frame) {
  // The queue takes non-const pointers but does not write through them.
  auto* data = reinterpret_cast<void**>(frame.extended_data);
  Check(av_audio_fifo_write(waiting_.get(), data, frame.nb_samples));
}

void SoundTrack::Encode(std::int64_t samples, const TakePacket& take) {
  const AvFrame frame = NewFrame();
  frame->nb_samples = static_cast<int>(samples);
  frame->format = codec_->sample_fmt;
  frame->sample_rate = codec_->sample_rate;
  frame->pts = encoded_;
  Check(av_channel_layout_copy(&frame->ch_layout, &codec_->ch_layout));
  Check(av_frame_get_buffer(frame.get(), 0));
  Check(av_audio_fifo_read(waiting_.get(), reinterpret_cast<void**>(frame->extended_data), frame->nb_samples));
  encoded_ += samples;
  Check(avcodec_send_frame(codec_.get(), frame.get()));
  TakePackets(take);
}

void SoundTrack::TakePackets(const TakePacket& take) {
  for (;;) {
    const int code = avcodec_receive_packet(codec_.get(), packet_.get());
    if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return;
    Check(code);
    take(*packet_);
  }
}

void SoundTrack::AdvanceTo(AVRational seconds, const TakePacket& take) {
  const std::int64_t due = SamplesIn(seconds);
  const std::int64_t whole = codec_->frame_size > 0 ? codec_->frame_size : kUsualFrame;
  while (encoded_ + whole <= due) {
    while (Collected() < encoded_ + whole) CollectSome();
    Encode(whole, take);
  }
}

void SoundTrack::Finish(AVRational seconds, const TakePacket& take) {
  AdvanceTo(seconds, take);
  const std::int64_t due = SamplesIn(seconds);
  while (Collected() < due) CollectSome();
  if (due > encoded_) Encode(due - encoded_, take);
  Check(avcodec_send_frame(codec_.get(), nullptr));
  TakePackets(take);
}

}  // namespace orvandel::stage
