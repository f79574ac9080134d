// Films. How a kind is made is one row of kFormats; what a row cannot express is in FillFrame.
//
// Formats with alpha get straight alpha. The others show the picture over black. Wherever YUV is written it is BT.709
// in the narrow range, and tagged so. The settings give the same bytes on every machine with the same libraries:
// bit-exact modes and a number of threads that makes no difference; H.264 is encoded without macroblock trees, whose
// code reads memory that was never written.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "stage/base/addition.h"
#include "stage/base/errors.h"
#include "stage/base/stage_clock.h"
#include "stage/ffmpeg/ffmpeg_support.h"
#include "stage/films/exr_out.h"
#include "stage/films/film_files.h"
#include "stage/films/sound_track.h"
#include "stage/picture/pixel_order.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace orvandel::stage {
namespace {

struct Option {
  const char* name;
  const char* value;
};

// One option's values from high to low quality; a lossless codec has none.
struct Quality {
  const char* option;
  std::array<const char*, 3> values;
};
constexpr Quality kLossless{};

// How a kind of film is made.
struct FilmFormat {
  std::string_view name;  // of its FilmKind
  const char* encoder;
  AVPixelFormat pixels;
  std::array<Option, 4> codecOptions;
  Quality quality;
  std::array<Option, 1> containerOptions;
  SoundCoding sound;
};

constexpr SoundCoding kAac{"aac", "aac", 96'000};
constexpr SoundCoding kPcm{"pcm_s16le", "pcm_s24le", 0};
constexpr SoundCoding kOpus{"libopus", "libopus", 80'000};
constexpr SoundCoding kFlac{"flac", "flac", 0};
constexpr SoundCoding kNoSound{};

// clang-format off
constexpr FilmFormat kFormats[] = {
    {"h264", "libx264", AV_PIX_FMT_YUV420P, {{{"preset", "medium"}, {"profile", "high"}, {"mbtree", "0"}}},
     {"crf", {"16", "21", "27"}}, {{{"movflags", "+faststart"}}}, kAac},
    // The pictures have 8 bits of alpha: 16 would make films a quarter larger and add nothing.
    {"prores4444", "prores_ks", AV_PIX_FMT_YUVA444P10LE, {{{"profile", "4444"}, {"alpha_bits", "8"}}},
     {"bits_per_mb", {"0", "1200", "600"}}, {}, kPcm},
    {"qtrle", "qtrle", AV_PIX_FMT_ARGB, {}, kLossless, {}, kPcm},
    {"vp9", "libvpx-vp9", AV_PIX_FMT_YUVA420P, {{{"b", "0"}, {"cpu-used", "4"}, {"row-mt", "1"}}},
     {"crf", {"20", "30", "42"}}, {}, kOpus},
    {"ffv1", "ffv1", AV_PIX_FMT_BGRA, {{{"level", "3"}, {"slicecrc", "1"}}}, kLossless, {}, kFlac},
    {"apng", "apng", AV_PIX_FMT_RGBA, {{{"compression_level", "3"}}}, kLossless, {{{"plays", "0"}}}, kNoSound},
    {"webp", "libwebp_anim", AV_PIX_FMT_BGRA, {{{"lossless", "1"}}}, kLossless, {{{"loop", "0"}}}, kNoSound},
};
// clang-format on

const FilmFormat& FormatOf(const FilmKind& kind) {
  return *std::find_if(std::begin(kFormats), std::end(kFormats),
                       [&](const FilmFormat& format) { return format.name == kind.name; });
}

using Turn = void (*)(const std::uint8_t* row, std::uint8_t* out, std::size_t pixels);

void CopyAsItIs(const std::uint8_t* row, std::uint8_t* out, std::size_t pixels) { std::memcpy(out, row, 4 * pixels); }

// From alpha, red, green, blue; null where more than the order of bytes differs.
Turn TurnFor(AVPixelFormat pixels) {
  switch (pixels) {
    case AV_PIX_FMT_ARGB:
      return CopyAsItIs;
    case AV_PIX_FMT_RGBA:
      return CopyAlphaLast;
    case AV_PIX_FMT_BGRA:
      return CopyReversed;
    default:
      return nullptr;
  }
}

// Formats that viewers show as pictures, not as films.
bool IsForWebPages(const FilmKind& kind) { return kind.extension == ".apng" || kind.extension == ".webp"; }

struct CloseOutput {
  void operator()(AVFormatContext* output) const {
    avio_closep(&output->pb);
    avformat_free_context(output);
  }
};
using AvOutput = std::unique_ptr<AVFormatContext, CloseOutput>;

void CheckSize(const std::filesystem::path& file, const FilmOptions& options) {
  const auto fits = [](Rational value) {
    return value.num > 0 && value.den > 0 && value.num <= INT_MAX && value.den <= INT_MAX;
  };
  if (options.width < 1 || options.height < 1 || !fits(options.frameRate) || !fits(options.pixelAspect)) {
    throw InputError(file.string() + ": no film has such a size, frame rate or pixel aspect");
  }
}

class EncodedFilm final : public FilmWriter {
 public:
  EncodedFilm(const std::filesystem::path& file, const FilmKind& kind, const FilmOptions& options)
      : kind_(kind), format_(FormatOf(kind)), options_(options), partial_(file, options.ifTaken), packet_(NewPacket()) {
    OpenEncoder();
    OpenSound();
    OpenContainer();
    OpenScaler();
  }

  void Add(const PictureRows& picture) override {
    if (picture.width != options_.width || picture.height != options_.height)
      partial_.Fail("a picture of another size came");
    const StageTimer encoding(WorkStage::kEncoding);
    const AvComplaints complaints;
    AVFrame& frame = FreeFrame(complaints);
    FillFrame(picture, frame);
    frame.pts = pictures_++;
    Check(avcodec_send_frame(codec_.get(), &frame), complaints);
    WritePackets(complaints);
    if (sound_ != nullptr) sound_->AdvanceTo(SecondsSoFar(), SoundWriter(complaints));
  }

  void Finish() override {
    if (pictures_ == 0) partial_.Fail("a film needs at least one picture");
    const StageTimer encoding(WorkStage::kEncoding);
    const AvComplaints complaints;
    Check(avcodec_send_frame(codec_.get(), nullptr), complaints);
    WritePackets(complaints);
    if (sound_ != nullptr) sound_->Finish(SecondsSoFar(), SoundWriter(complaints));
    Check(av_write_trailer(output_.get()), complaints);
    Check(avio_closep(&output_->pb), complaints);
    partial_.Keep();
  }

 private:
  void Check(int code, const AvComplaints& complaints) const {
    if (code < 0) partial_.Fail("cannot be written: " + complaints.Explain(code));
  }

  void OpenEncoder() {
    const AvComplaints complaints;
    const AVCodec* encoder = avcodec_find_encoder_by_name(format_.encoder);
    if (encoder == nullptr) partial_.Fail(fmt::format("the libraries at hand have no encoder \"{}\"", format_.encoder));
    codec_ = NewCodec(encoder);
    const int even = kind_.evenSize ? 1 : 0;
    codec_->width = (options_.width + even) & ~even;
    codec_->height = (options_.height + even) & ~even;
    codec_->pix_fmt = format_.pixels;
    codec_->framerate = ToAvRational(options_.frameRate.num, options_.frameRate.den);
    codec_->time_base = {codec_->framerate.den, codec_->framerate.num};
    codec_->sample_aspect_ratio = ToAvRational(options_.pixelAspect.num, options_.pixelAspect.den);
    // A browser assumes its own colour space for untagged pictures. The tags would become gamma and chroma chunks,
    // which describe BT.709 slightly differently, and the browser would shift the colours.
    if (!IsForWebPages(kind_)) {
      codec_->color_primaries = AVCOL_PRI_BT709;
      codec_->color_trc = AVCOL_TRC_BT709;
    }
    const bool yuv = (av_pix_fmt_desc_get(format_.pixels)->flags & AV_PIX_FMT_FLAG_RGB) == 0;
    codec_->colorspace = yuv ? AVCOL_SPC_BT709 : AVCOL_SPC_RGB;
    codec_->color_range = yuv ? AVCOL_RANGE_MPEG : AVCOL_RANGE_JPEG;
    codec_->flags |= AV_CODEC_FLAG_BITEXACT;
    AVFormatContext* allocated = nullptr;
    Check(avformat_alloc_output_context2(&allocated, nullptr, nullptr, ContainerName().c_str()), complaints);
    output_.reset(allocated);
    if ((output_->oformat->flags & AVFMT_GLOBALHEADER) != 0) codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    AvOptions options;
    options.Set("threads", std::to_string(EncoderThreads(kind_.name, options_.processors)).c_str());
    for (const Option& option : format_.codecOptions) {
      if (option.name != nullptr) options.Set(option.name, option.value);
    }
    if (format_.quality.option != nullptr) {
      options.Set(format_.quality.option, format_.quality.values[static_cast<std::size_t>(options_.quality)]);
    }
    Check(avcodec_open2(codec_.get(), encoder, options.Address()), complaints);
  }

  void OpenSound() {
    if (!options_.sound) return;
    if (kind_.sound.empty()) partial_.Fail("this kind of film carries no sound");
    const bool globalHeader = (output_->oformat->flags & AVFMT_GLOBALHEADER) != 0;
    sound_ = std::make_unique<SoundTrack>(*options_.sound, format_.sound, globalHeader, partial_);
  }

  AVRational SecondsSoFar() const { return ToAvRational(pictures_ * options_.frameRate.den, options_.frameRate.num); }

  // The library chooses the container by the extension, and the temporary file has another one.
  std::string ContainerName() const { return "film" + kind_.extension; }

  void OpenContainer() {
    const AvComplaints complaints;
    output_->flags |= AVFMT_FLAG_BITEXACT;
    AVStream* stream = avformat_new_stream(output_.get(), nullptr);
    if (stream == nullptr) throw std::bad_alloc();
    stream->time_base = codec_->time_base;
    stream->avg_frame_rate = stream->r_frame_rate = codec_->framerate;
    stream->sample_aspect_ratio = codec_->sample_aspect_ratio;
    Check(avcodec_parameters_from_context(stream->codecpar, codec_.get()), complaints);
    if (sound_ != nullptr) AddSoundStream(complaints);
    const std::string url = "file:" + partial_.WorkName().string();
    av_freep(&output_->url);
    output_->url = av_strdup(url.c_str());  // a container that moves its index to the front opens the file again
    partial_.Open();
    if (const int code = avio_open(&output_->pb, url.c_str(), AVIO_FLAG_WRITE); code < 0) {
      partial_.Fail("cannot be written: " + AvErrorText(code));
    }
    AvOptions options;
    for (const Option& option : format_.containerOptions) {
      if (option.name != nullptr) options.Set(option.name, option.value);
    }
    Check(avformat_write_header(output_.get(), options.Address()), complaints);
  }

  void AddSoundStream(const AvComplaints& complaints) {
    AVStream* stream = avformat_new_stream(output_.get(), nullptr);
    if (stream == nullptr) throw std::bad_alloc();
    stream->time_base = sound_->Codec().time_base;
    Check(avcodec_parameters_from_context(stream->codecpar, &sound_->Codec()), complaints);
  }

  AvFrame FrameOf(AVPixelFormat pixels, const AvComplaints& complaints) const {
    AvFrame frame = NewFrame();
    frame->width = codec_->width;
    frame->height = codec_->height;
    frame->format = pixels;
    Check(av_frame_get_buffer(frame.get(), 0), complaints);
    return frame;
  }

  // The encoder may still hold the frames before this one.
  AVFrame& FreeFrame(const AvComplaints& complaints) {
    for (const AvFrame& frame : frames_) {
      if (av_frame_is_writable(frame.get()) != 0) return *frame;
    }
    AVFrame& frame = *frames_.emplace_back(FrameOf(format_.pixels, complaints));
    frame.color_range = codec_->color_range;
    frame.colorspace = codec_->colorspace;
    frame.color_primaries = codec_->color_primaries;
    frame.color_trc = codec_->color_trc;
    return frame;
  }

  // Only for formats whose samples are not the pictures' own.
  void OpenScaler() {
    if (turn_ != nullptr) return;
    const AvComplaints complaints;
    source_ = FrameOf(AV_PIX_FMT_ARGB, complaints);
    constexpr int kFlags = SWS_BICUBIC | SWS_ACCURATE_RND | SWS_BITEXACT | SWS_FULL_CHR_H_INP | SWS_FULL_CHR_H_INT;
    scaler_.reset(sws_getContext(source_->width, source_->height, AV_PIX_FMT_ARGB, source_->width, source_->height,
                                 format_.pixels, kFlags, nullptr, nullptr, nullptr));
    if (!scaler_) partial_.Fail("the pictures cannot be converted for this format");
    constexpr int kFullRange = 1, kNeutral = 1 << 16;
    const int* matrix = sws_getCoefficients(SWS_CS_ITU709);
    sws_setColorspaceDetails(scaler_.get(), matrix, kFullRange, matrix,
                             codec_->color_range == AVCOL_RANGE_JPEG ? kFullRange : 0, 0, kNeutral, kNeutral);
  }

  static std::uint8_t* RowOf(const AVFrame& frame, std::int32_t y) {
    return frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
  }

  void FillFrame(const PictureRows& picture, AVFrame& frame) const {
    if (turn_ == nullptr) {
      if (IsSource(picture)) return Scale(picture.top, static_cast<int>(picture.rowBytes), frame);
      FillSource(picture);
      return Scale(source_->data[0], source_->linesize[0], frame);
    }
    for (std::int32_t y = 0; y < picture.height; ++y) {
      turn_(picture.Row(y), RowOf(frame, y), static_cast<std::size_t>(picture.width));
    }
  }

  // Whether the scaler can read the picture where it lies. It may read a vector too far, and is faster from whole ones.
  bool IsSource(const PictureRows& picture) const {
    constexpr std::ptrdiff_t kVector = 16;
    return (kind_.hasAlpha || options_.isOpaque) && picture.width == source_->width &&
           picture.height == source_->height && picture.rowBytes % kVector == 0 && picture.rowBytes <= INT_MAX &&
           picture.rowBytes >= std::ptrdiff_t{4} * picture.width + kVector &&
           reinterpret_cast<std::uintptr_t>(picture.top) % kVector == 0;
  }

  void Scale(const std::uint8_t* top, int rowBytes, AVFrame& frame) const {
    sws_scale(scaler_.get(), &top, &rowBytes, 0, source_->height, frame.data, frame.linesize);
  }

  void FillSource(const PictureRows& picture) const {
    const auto pixels = static_cast<std::size_t>(picture.width);
    const Turn copy = kind_.hasAlpha ? CopyAsItIs : CopyOverBlack;
    for (std::int32_t y = 0; y < picture.height; ++y) {
      std::uint8_t* const out = RowOf(*source_, y);
      copy(picture.Row(y), out, pixels);
      if (source_->width > picture.width) std::memcpy(out + 4 * pixels, out + 4 * pixels - 4, 4);
    }
    if (source_->height == picture.height) return;
    std::memcpy(RowOf(*source_, picture.height), RowOf(*source_, picture.height - 1),
                static_cast<std::size_t>(source_->width) * 4);
  }

  void WritePackets(const AvComplaints& complaints) {
    for (;;) {
      const int code = avcodec_receive_packet(codec_.get(), packet_.get());
      if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return;
      Check(code, complaints);
      if (packet_->duration == 0) packet_->duration = 1;
      Write(*packet_, 0, codec_->time_base, complaints);
    }
  }

  SoundTrack::TakePacket SoundWriter(const AvComplaints& complaints) {
    // Containers that store the encoder's delay separately count time stamps from the start of the delay. The muxer
    // expects stamps below 0 for it instead, and would then shift the pictures so that none is negative.
    const std::string_view container = output_->oformat->name;
    const int delay = container == "matroska" || container == "webm" ? sound_->Codec().initial_padding : 0;
    return [this, delay, &complaints](AVPacket& packet) {
      packet.pts += delay;
      packet.dts += delay;
      Write(packet, 1, sound_->Codec().time_base, complaints);
    };
  }

  void Write(AVPacket& packet, int stream, AVRational timeBase, const AvComplaints& complaints) {
    const StageTimer writing(WorkStage::kWriting);
    packet.stream_index = stream;
    av_packet_rescale_ts(&packet, timeBase, output_->streams[stream]->time_base);
    Check(av_interleaved_write_frame(output_.get(), &packet), complaints);
  }

  FilmKind kind_;
  const FilmFormat& format_;
  FilmOptions options_;
  PartialFile partial_;  // outlives output_, which keeps it open
  AvCodec codec_;
  std::unique_ptr<SoundTrack> sound_;
  AvOutput output_;
  AvPacket packet_;
  std::vector<AvFrame> frames_;
  Turn turn_ = TurnFor(format_.pixels);
  AvFrame source_;  // with its scaler, where there is no turn
  AvScaler scaler_;
  std::int64_t pictures_ = 0;
};

class Films final : public FilmFiles {
 public:
  std::unique_ptr<FilmWriter> Open(const std::filesystem::path& file, const FilmOptions& options) const override {
    const FilmKind kind = FilmKindOf(file, options.format);
    CheckSize(file, options);
    return std::make_unique<EncodedFilm>(file, kind, options);
  }
  void WriteExr(const std::filesystem::path& file, const Picture16& picture, IfTaken ifTaken) const override {
    WriteExrFile(file, picture, ifTaken);
  }
  std::string Libraries() const override {
    const auto text = [](const char* name, unsigned version) {
      return fmt::format("{} {}.{}.{}", name, version >> 16, version >> 8 & 255, version & 255);
    };
    return fmt::format("{}, {}, {}, {}", text("libavformat", avformat_version()), text("libavcodec", avcodec_version()),
                       text("libavutil", avutil_version()), text("libswscale", swscale_version()));
  }
};

const Films films;
const Addition<FilmFiles> entered(films);

}  // namespace
}  // namespace orvandel::stage
