// Single pictures: RGBA PNG, 8 or 16 bits a channel.
#include <algorithm>
#include <cstdint>

#include "stage/base/errors.h"
#include "stage/base/ffmpeg_support.h"
#include "stage/base/partial_file.h"
#include "stage/output/video_out.h"

namespace orvandel::stage {
namespace {

// Rendering waits for writing. Level 1 without prediction: rendered frames are flat runs, which prediction only breaks
// up (upward: a quarter larger in the same time).
constexpr int kCompressionLevel = 1;

void CopyAsRgba(const Picture& picture, AVFrame& frame) {
  const std::uint8_t* in = picture.bytes.data();
  for (std::int32_t y = 0; y < picture.height; ++y) {
    std::uint8_t* out = frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
    for (std::int32_t x = 0; x < picture.width; ++x, in += 4, out += 4) {
      out[0] = in[1];
      out[1] = in[2];
      out[2] = in[3];
      out[3] = in[0];
    }
  }
}

// PNG stores 16-bit samples with the high byte first.
void CopyAsRgba64(const Picture16& picture, AVFrame& frame) {
  const std::uint16_t* in = picture.words.data();
  for (std::int32_t y = 0; y < picture.height; ++y) {
    std::uint8_t* out = frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
    for (std::int32_t x = 0; x < picture.width; ++x, in += 4) {
      for (const std::uint16_t word : {in[1], in[2], in[3], in[0]}) {
        *out++ = static_cast<std::uint8_t>(word >> 8);
        *out++ = static_cast<std::uint8_t>(word & 0xFF);
      }
    }
  }
}

// `fill` puts the picture's samples into a frame of the format.
template <typename Fill>
void WritePngOf(const std::filesystem::path& file, std::int32_t width, std::int32_t height, AVPixelFormat format,
                const Fill& fill) {
  PartialFile partial(file);
  const AvComplaints complaints;
  const auto check = [&](int code) {
    if (code < 0) partial.Fail("cannot be encoded: " + complaints.Explain(code));
  };
  const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_PNG);
  if (encoder == nullptr) partial.Fail("the libraries at hand have no PNG encoder");
  const AvCodec codec = NewCodec(encoder);
  codec->width = width;
  codec->height = height;
  codec->pix_fmt = format;
  codec->time_base = {1, 1};
  codec->compression_level = kCompressionLevel;
  codec->thread_count = 1;
  check(avcodec_open2(codec.get(), encoder, nullptr));

  const AvFrame frame = NewFrame();
  frame->width = width;
  frame->height = height;
  frame->format = format;
  check(av_frame_get_buffer(frame.get(), 0));
  fill(*frame);
  const AvPacket packet = NewPacket();
  check(avcodec_send_frame(codec.get(), frame.get()));
  check(avcodec_receive_packet(codec.get(), packet.get()));
  partial.Write({packet->data, static_cast<std::size_t>(packet->size)});
  partial.Keep();
}

}  // namespace

void WritePng(const std::filesystem::path& file, const Picture& picture) {
  WritePngOf(file, picture.width, picture.height, AV_PIX_FMT_RGBA, [&](AVFrame& frame) { CopyAsRgba(picture, frame); });
}

void WritePng16(const std::filesystem::path& file, const Picture16& picture) {
  WritePngOf(file, picture.width, picture.height, AV_PIX_FMT_RGBA64BE,
             [&](AVFrame& frame) { CopyAsRgba64(picture, frame); });
}

}  // namespace orvandel::stage
