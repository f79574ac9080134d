#include "stage/films/video_stream.h"

#include <cstring>
#include <string_view>

#include "stage/base/errors.h"
#include "stage/stills/png_file.h"

namespace orvandel::stage {
namespace {

// Demuxers that read no other file than the one they are given: no playlists and no scripts.
constexpr const char* kFormats =
    "image2,png_pipe,jpeg_pipe,jpegls_pipe,jpegxl_pipe,j2k_pipe,webp_pipe,tiff_pipe,bmp_pipe,exr_pipe,dpx_pipe,"
    "qoi_pipe,psd_pipe,sgi_pipe,sunrast_pipe,pcx_pipe,pam_pipe,pbm_pipe,pgm_pipe,pgmyuv_pipe,ppm_pipe,pfm_pipe,phm_"
    "pipe,"
    "xbm_pipe,xpm_pipe,svg_pipe,gif_pipe,hdr_pipe,dds_pipe,cri_pipe,apng,gif,avi,mov,matroska,webm,ogg,mpeg,mpegts,"
    "mpegvideo,"
    "flv,asf,mxf,nut,ivf,yuv4mpegpipe,h264,hevc,m4v,mjpeg,obu,av1,rm,swf,dv,wtv,webp";

bool NamesStill(std::string_view demuxer) { return demuxer.ends_with("_pipe") || demuxer == "image2"; }

// The libraries' own decoders drop the alpha of these streams, which is stored as a second picture beside the first.
const AVCodec* FindDecoder(const AVStream& stream) {
  const AVDictionaryEntry* alpha = av_dict_get(stream.metadata, "alpha_mode", nullptr, 0);
  if (alpha != nullptr && std::strcmp(alpha->value, "1") == 0) {
    const char* name = stream.codecpar->codec_id == AV_CODEC_ID_VP9   ? "libvpx-vp9"
                       : stream.codecpar->codec_id == AV_CODEC_ID_VP8 ? "libvpx"
                                                                      : nullptr;
    const AVCodec* found = name == nullptr ? nullptr : avcodec_find_decoder_by_name(name);
    if (found != nullptr) return found;
  }
  return avcodec_find_decoder(stream.codecpar->codec_id);
}

}  // namespace

VideoStream::VideoStream(const std::filesystem::path& file) : file_(file), packet_(NewPacket()) { Open(); }

void VideoStream::Fail(const std::string& reason) const { throw InputError(file_.string() + ": " + reason); }

// The libraries refuse pictures above our limit or theirs before they are decoded.
void VideoStream::FailDecoding(const std::string& reason) const {
  Fail(reason.find("Picture size") != std::string::npos ? std::string(kTooLarge) : "cannot be decoded: " + reason);
}

void VideoStream::Open() {
  const AvComplaints complaints;
  AvOptions options;
  options.Set("protocol_whitelist", "file");
  options.Set("format_whitelist", kFormats);
  options.Set("pattern_type", "none");  // a "%" in the name is a "%"
  AVFormatContext* opened = nullptr;
  int code = avformat_open_input(&opened, ("file:" + file_.string()).c_str(), nullptr, options.Address());
  input_.reset(opened);
  if (code < 0) Fail("cannot be read as a picture or a film: " + complaints.Explain(code));
  still_ = NamesStill(input_->iformat->name);
  if (!still_ && (code = avformat_find_stream_info(input_.get(), nullptr)) < 0) {
    Fail("cannot be read as a film: " + complaints.Explain(code));
  }
  const int index = av_find_best_stream(input_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (index < 0 || (input_->streams[index]->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) {
    Fail("has no video stream");
  }
  stream_ = input_->streams[index];
  for (unsigned i = 0; i < input_->nb_streams; ++i) {
    if (input_->streams[i] != stream_) input_->streams[i]->discard = AVDISCARD_ALL;
  }
  OpenDecoder();
}

void VideoStream::OpenDecoder() {
  const AvComplaints complaints;
  const AVCodec* decoder = FindDecoder(*stream_);
  if (decoder == nullptr) Fail(std::string("no decoder for ") + avcodec_get_name(stream_->codecpar->codec_id));
  codec_ = NewCodec(decoder);
  int code = avcodec_parameters_to_context(codec_.get(), stream_->codecpar);
  codec_->pkt_timebase = stream_->time_base;
  codec_->max_pixels = kMostPixels;
  codec_->flags |= AV_CODEC_FLAG_BITEXACT;
  codec_->thread_count = still_ ? 1 : 0;
  // Strictness would also refuse a TIFF with any tag that the decoder does not know.
  if (still_ && decoder->id != AV_CODEC_ID_TIFF) {
    codec_->err_recognition = AV_EF_CRCCHECK | AV_EF_BUFFER | AV_EF_EXPLODE;
  }
  if (code >= 0) code = avcodec_open2(codec_.get(), decoder, nullptr);
  if (code < 0) FailDecoding(complaints.Explain(code));
  drained_ = afterSeek_ = false;
  lastTime_ = AV_NOPTS_VALUE;
}

bool VideoStream::Next(AVFrame& frame) {
  const AvComplaints complaints;
  while (!Receive(frame, complaints)) {
    if (drained_) return false;
    Feed(complaints);
  }
  return true;
}

bool VideoStream::Receive(AVFrame& frame, const AvComplaints& complaints) {
  for (;;) {
    const int code = avcodec_receive_frame(codec_.get(), &frame);
    if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return false;
    if (code < 0) FailDecoding(complaints.Explain(code));
    const bool damaged = (frame.flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame.decode_error_flags != 0;
    if (damaged && still_) Fail("is damaged");
    if (damaged && afterSeek_) continue;
    afterSeek_ = false;
    if (std::int64_t{frame.width} * frame.height > kMostPixels) Fail(kTooLarge);
    GiveTime(frame);
    return true;
  }
}

void VideoStream::Feed(const AvComplaints& complaints) {
  int code = av_read_frame(input_.get(), packet_.get());
  if (code == AVERROR_EOF) {
    drained_ = true;
    avcodec_send_packet(codec_.get(), nullptr);
    return;
  }
  if (code < 0) Fail("cannot be read: " + complaints.Explain(code));
  if (packet_->stream_index == stream_->index) {
    code = avcodec_send_packet(codec_.get(), packet_.get());
  }
  av_packet_unref(packet_.get());
  if (code < 0 && code != AVERROR(EAGAIN)) FailDecoding(complaints.Explain(code));
}

// A stamp that does not rise (or is missing) continues the last one by the picture's own duration.
void VideoStream::GiveTime(AVFrame& frame) {
  std::int64_t time = frame.best_effort_timestamp;
  if (time == AV_NOPTS_VALUE || (lastTime_ != AV_NOPTS_VALUE && time <= lastTime_)) {
    const std::int64_t step = frame.pkt_duration > 0 ? frame.pkt_duration : 1;
    time = lastTime_ == AV_NOPTS_VALUE ? 0 : lastTime_ + step;
  }
  frame.pts = lastTime_ = time;
}

void VideoStream::GoBefore(std::int64_t timeStamp) {
  const AvComplaints complaints;
  if (av_seek_frame(input_.get(), stream_->index, timeStamp, AVSEEK_FLAG_BACKWARD) < 0) {
    Restart();
    return;
  }
  avcodec_flush_buffers(codec_.get());
  drained_ = false;
  afterSeek_ = true;
  lastTime_ = AV_NOPTS_VALUE;
}

void VideoStream::Restart() {
  codec_.reset();
  Open();
}

}  // namespace orvandel::stage
