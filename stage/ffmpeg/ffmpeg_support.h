// The FFmpeg libraries' objects with owners, and their error codes as text.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <cstdint>
#include <memory>
#include <string>

namespace orvandel::stage {

struct AvDeleter {
  void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
  void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
  void operator()(SwrContext* resampler) const { swr_free(&resampler); }
  void operator()(AVAudioFifo* samples) const { av_audio_fifo_free(samples); }
};
// A demuxer's context; a muxer's needs an owner of its own.
using AvInput = std::unique_ptr<AVFormatContext, AvDeleter>;
using AvCodec = std::unique_ptr<AVCodecContext, AvDeleter>;
using AvFrame = std::unique_ptr<AVFrame, AvDeleter>;
using AvPacket = std::unique_ptr<AVPacket, AvDeleter>;
using AvScaler = std::unique_ptr<SwsContext, AvDeleter>;
using AvResampler = std::unique_ptr<SwrContext, AvDeleter>;
using AvSampleQueue = std::unique_ptr<AVAudioFifo, AvDeleter>;

// Options under construction; the function that takes them leaves those it did not recognise.
class AvOptions {
 public:
  AvOptions() = default;
  ~AvOptions() { av_dict_free(&options_); }
  AvOptions(const AvOptions&) = delete;
  AvOptions& operator=(const AvOptions&) = delete;
  void Set(const char* name, const char* value) { av_dict_set(&options_, name, value, 0); }
  AVDictionary** Address() { return &options_; }

 private:
  AVDictionary* options_ = nullptr;
};

// Throw std::bad_alloc.
AvFrame NewFrame();
AvPacket NewPacket();
AvCodec NewCodec(const AVCodec* codec);

std::string AvErrorText(int code);

// Keeps what the libraries complain of on this thread while it lives, instead of letting them write to standard error.
class AvComplaints {
 public:
  AvComplaints();
  ~AvComplaints();
  AvComplaints(const AvComplaints&) = delete;
  AvComplaints& operator=(const AvComplaints&) = delete;
  // The code as text, and the first complaint in parentheses when there is one.
  std::string Explain(int code) const;

 private:
  std::string first_;
  std::string* previous_;
};

// Packs a fraction into the libraries' own; a value beyond 31 bits becomes the nearest that fits.
AVRational ToAvRational(std::int64_t num, std::int64_t den);

}  // namespace orvandel::stage
