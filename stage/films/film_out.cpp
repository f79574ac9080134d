// Films. A format is one row of kFormats; what a row cannot express is in FillFrame.
//
// Formats with alpha get straight alpha. The others show the picture over black. Wherever YUV is written it is BT.709
// in the narrow range, and tagged so. The settings give the same bytes on every machine with the same libraries:
// bit-exact modes and a fixed number of threads; H.264 is encoded without macroblock trees, whose code reads memory
// that was never written.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "stage/base/errors.h"
#include "stage/base/stage_clock.h"
#include "stage/ffmpeg/ffmpeg_support.h"
#include "stage/films/film_out.h"
#include "stage/films/sound_track.h"

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

struct FilmFormat {
  std::string_view name;       // as FilmOptions::format names it
  std::string_view extension;  // the first row of an extension is its usual one
  const char* encoder;
  AVPixelFormat pixels;
  bool overBlack;  // the format has no alpha
  bool evenSize;   // odd sizes repeat their last column or row
  std::array<Option, 4> codecOptions;
  Quality quality;
  std::array<Option, 1> containerOptions;
  const char* description;
  bool lossless;
  const char* soundName;  // null: a film without sound
  SoundCoding sound;
};

constexpr SoundCoding kAac{"aac", "aac", 96'000};
constexpr SoundCoding kPcm{"pcm_s16le", "pcm_s24le", 0};
constexpr SoundCoding kOpus{"libopus", "libopus", 80'000};
constexpr SoundCoding kFlac{"flac", "flac", 0};
constexpr SoundCoding kNoSound{};

// clang-format off
constexpr FilmFormat kFormats[] = {
    {"h264", ".mp4", "libx264", AV_PIX_FMT_YUV420P, true, true,
     {{{"preset", "medium"}, {"profile", "high"}, {"mbtree", "0"}}}, {"crf", {"16", "21", "27"}},
     {{{"movflags", "+faststart"}}}, "H.264, plays everywhere", false, "AAC", kAac},
    // The pictures have 8 bits of alpha: 16 would make films a quarter larger and add nothing.
    {"prores4444", ".mov", "prores_ks", AV_PIX_FMT_YUVA444P10LE, false, false,
     {{{"profile", "4444"}, {"alpha_bits", "8"}}}, {"bits_per_mb", {"0", "1200", "600"}}, {},
     "ProRes 4444, for editors", false, "PCM", kPcm},
    {"qtrle", ".mov", "qtrle", AV_PIX_FMT_ARGB, false, false, {}, kLossless, {}, "QuickTime Animation, for editors", true, "PCM", kPcm},
    {"vp9", ".webm", "libvpx-vp9", AV_PIX_FMT_YUVA420P, false, false,
     {{{"b", "0"}, {"cpu-used", "4"}, {"row-mt", "1"}}}, {"crf", {"20", "30", "42"}}, {}, "VP9, for browsers", false, "Opus", kOpus},
    {"ffv1", ".mkv", "ffv1", AV_PIX_FMT_BGRA, false, false, {{{"level", "3"}, {"slicecrc", "1"}}}, kLossless, {}, "FFV1, for archives", true, "FLAC", kFlac},
    {"apng", ".apng", "apng", AV_PIX_FMT_RGBA, false, false, {{{"compression_level", "3"}}}, kLossless, {{{"plays", "0"}}}, "animated PNG, for web pages", true, nullptr, kNoSound},
    {"webp", ".webp", "libwebp_anim", AV_PIX_FMT_BGRA, false, false, {{{"lossless", "1"}}}, kLossless, {{{"loop", "0"}}}, "animated WebP, for web pages", true, nullptr, kNoSound},
};
// clang-format on

constexpr const char* kThreads = "4";  // fixed: some encoders' output depends on it

std::string ExtensionOf(const std::filesystem::path& file) {
  std::string extension = file.extension().string();
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

std::string KnownFormats() {
  std::string list;
  for (const FilmFormat& format : kFormats)
    list += fmt::format("{}{} ({})", list.empty() ? "" : ", ", format.extension, format.name);
  return list;
}

const FilmFormat& ChooseFormat(const std::filesystem::path& file, const std::string& wanted) {
  const std::string extension = ExtensionOf(file);
  for (const FilmFormat& format : kFormats) {
    if (format.extension == extension && (wanted.empty() || format.name == wanted)) return format;
  }
  const std::string found = wanted.empty() ? "\"" + extension + "\"" : "\"" + wanted + "\" in \"" + extension + "\"";
  throw InputError(
      fmt::format("{}: {} is not a film that can be written; there are {}", file.string(), found, KnownFormats()));
}

// Formats that viewers show as pictures, not as films.
bool IsForWebPages(const FilmFormat& format) { return format.extension == ".apng" || format.extension == ".webp"; }

FilmKind KindOf(const FilmFormat& format) {
  return {std::string(format.extension),
          std::string(format.name),
          format.description,
          !format.overBlack,
          format.lossless,
          format.evenSize,
          format.soundName == nullptr ? "" : format.soundName};
}

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
  EncodedFilm(const std::filesystem::path& file, const FilmFormat& format, const FilmOptions& options)
      : format_(format),
        options_(options),
        partial_(file, options.ifTaken),
        packet_(NewPacket()),
        source_(NewFrame()),
        frame_(NewFrame()) {
    OpenEncoder();
    OpenSound();
    OpenContainer();
    PrepareFrames();
  }

  void Add(const PictureRows& picture) override {
    if (picture.width != options_.width || picture.height != options_.height)
      partial_.Fail("a picture of another size came");
    const StageTimer encoding(WorkStage::kEncoding);
    const AvComplaints complaints;
    // The encoder may still hold the frame before this one.
    Check(av_frame_make_writable(frame_.get()), complaints);
    FillFrame(picture);
    frame_->pts = pictures_++;
    Check(avcodec_send_frame(codec_.get(), frame_.get()), complaints);
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
    const int even = format_.evenSize ? 1 : 0;
    codec_->width = (options_.width + even) & ~even;
    codec_->height = (options_.height + even) & ~even;
    codec_->pix_fmt = format_.pixels;
    codec_->framerate = ToAvRational(options_.frameRate.num, options_.frameRate.den);
    codec_->time_base = {codec_->framerate.den, codec_->framerate.num};
    codec_->sample_aspect_ratio = ToAvRational(options_.pixelAspect.num, options_.pixelAspect.den);
    // A browser assumes its own colour space for untagged pictures. The tags would become gamma and chroma chunks,
    // which describe BT.709 slightly differently, and the browser would shift the colours.
    if (!IsForWebPages(format_)) {
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
    options.Set("threads", kThreads);
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
    if (format_.soundName == nullptr) partial_.Fail("this kind of film carries no sound");
    const bool globalHeader = (output_->oformat->flags & AVFMT_GLOBALHEADER) != 0;
    sound_ = std::make_unique<SoundTrack>(*options_.sound, format_.sound, globalHeader, partial_);
  }

  AVRational SecondsSoFar() const { return ToAvRational(pictures_ * options_.frameRate.den, options_.frameRate.num); }

  // The library chooses the container by the extension, and the temporary file has another one.
  std::string ContainerName() const { return "film" + std::string(format_.extension); }

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

  void PrepareFrames() {
    const AvComplaints complaints;
    const auto prepare = [&](AVFrame& frame, AVPixelFormat pixels) {
      frame.width = codec_->width;
      frame.height = codec_->height;
      frame.format = pixels;
      Check(av_frame_get_buffer(&frame, 0), complaints);
    };
    prepare(*source_, AV_PIX_FMT_ARGB);
    prepare(*frame_, format_.pixels);
    frame_->color_range = codec_->color_range;
    frame_->colorspace = codec_->colorspace;
    frame_->color_primaries = codec_->color_primaries;
    frame_->color_trc = codec_->color_trc;
    constexpr int kFlags = SWS_BICUBIC | SWS_ACCURATE_RND | SWS_BITEXACT | SWS_FULL_CHR_H_INP | SWS_FULL_CHR_H_INT;
    scaler_.reset(sws_getContext(source_->width, source_->height, AV_PIX_FMT_ARGB, frame_->width, frame_->height,
                                 format_.pixels, kFlags, nullptr, nullptr, nullptr));
    if (!scaler_) partial_.Fail("the pictures cannot be converted for this format");
    constexpr int kFullRange = 1, kNeutral = 1 << 16;
    const int* matrix = sws_getCoefficients(SWS_CS_ITU709);
    sws_setColorspaceDetails(scaler_.get(), matrix, kFullRange, matrix,
                             codec_->color_range == AVCOL_RANGE_JPEG ? kFullRange : 0, 0, kNeutral, kNeutral);
  }

  std::uint8_t* SourceRow(std::int32_t y) {
    return source_->data[0] + static_cast<std::ptrdiff_t>(y) * source_->linesize[0];
  }

  void FillFrame(const PictureRows& picture) {
    const std::size_t rowBytes = picture.RowSize();
    for (std::int32_t y = 0; y < picture.height; ++y) {
      const std::uint8_t* const in = picture.Row(y);
      std::uint8_t* out = SourceRow(y);
      if (format_.overBlack) {
        CopyOverBlack(in, picture.width, out);
      } else {
        std::memcpy(out, in, rowBytes);
      }
      if (source_->width > picture.width) std::memcpy(out + rowBytes, out + rowBytes - 4, 4);
    }
    if (source_->height > picture.height) {
      std::memcpy(SourceRow(picture.height), SourceRow(picture.height - 1),
                  static_cast<std::size_t>(source_->width) * 4);
    }
    sws_scale(scaler_.get(), source_->data, source_->linesize, 0, source_->height, frame_->data, frame_->linesize);
  }

  static void CopyOverBlack(const std::uint8_t* in, std::int32_t width, std::uint8_t* out) {
    for (std::int32_t x = 0; x < width; ++x, in += 4, out += 4) {
      out[0] = 255;
      for (int c = 1; c < 4; ++c) out[c] = static_cast<std::uint8_t>((in[c] * in[0] + 127) / 255);
    }
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

  const FilmFormat& format_;
  FilmOptions options_;
  PartialFile partial_;  // outlives output_, which keeps it open
  AvCodec codec_;
  std::unique_ptr<SoundTrack> sound_;
  AvOutput output_;
  AvPacket packet_;
  AvFrame source_, frame_;
  AvScaler scaler_;
  std::int64_t pictures_ = 0;
};

}  // namespace

std::unique_ptr<FilmWriter> OpenFilm(const std::filesystem::path& file, const FilmOptions& options) {
  const FilmFormat& format = ChooseFormat(file, options.format);
  CheckSize(file, options);
  return std::make_unique<EncodedFilm>(file, format, options);
}

std::vector<FilmKind> FilmKinds() {
  std::vector<FilmKind> kinds;
  for (const FilmFormat& format : kFormats) kinds.push_back(KindOf(format));
  return kinds;
}

FilmKind KindOf(const std::filesystem::path& file, const std::string& format) {
  return KindOf(ChooseFormat(file, format));
}

bool IsFilmName(const std::filesystem::path& file) {
  const std::string extension = ExtensionOf(file);
  return std::any_of(std::begin(kFormats), std::end(kFormats),
                     [&](const FilmFormat& format) { return format.extension == extension; });
}

}  // namespace orvandel::stage
