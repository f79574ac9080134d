// Single pictures: RGBA PNG, 8 or 16 bits a channel.
#include <algorithm>
#include <cerrno>
#include <cstdint>

#include "stage/base/errors.h"
#include "stage/base/partial_file.h"
#include "stage/ffmpeg/ffmpeg_support.h"
#include "stage/films/film_out.h"

namespace orvandel::stage {
namespace {

// Rendering waits for writing. Level 1 without prediction: rendered frames are flat runs, which prediction only breaks
// up (upward: a quarter larger in the same time).
constexpr int kCompressionLevel = 1;

void TurnIntoRgba(Picture& picture) {
  std::uint8_t* const bytes = picture.bytes.data();
  for (std::size_t i = 0; i < picture.bytes.size(); i += 4) std::rotate(bytes + i, bytes + i + 1, bytes + i + 4);
}

// The frame's only plane, without a copy: the picture stays the owner.
int LendPlane(Picture& picture, AVFrame& frame) {
  const auto keep = [](void*, std::uint8_t*) {};
  frame.buf[0] = av_buffer_create(picture.bytes.data(), picture.bytes.size(), keep, nullptr, 0);
  frame.data[0] = picture.bytes.data();
  frame.linesize[0] = picture.width * 4;
  return frame.buf[0] != nullptr ? 0 : AVERROR(ENOMEM);
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

// `fill` gives a frame of the format its samples; it returns the library's code.
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
  check(fill(*frame));
  const AvPacket packet = NewPacket();
  check(avcodec_send_frame(codec.get(), frame.get()));
  check(avcodec_receive_packet(codec.get(), packet.get()));
  partial.Write({packet->data, static_cast<std::size_t>(packet->size)});
  partial.Keep();
}

}  // namespace

void WritePng(const std::filesystem::path& file, Picture picture) {
  TurnIntoRgba(picture);
  WritePngOf(file, picture.width, picture.height, AV_PIX_FMT_RGBA,
             [&](AVFrame& frame) { return LendPlane(picture, frame); });
}

void WritePng16(const std::filesystem::path& file, const Picture16& picture) {
  WritePngOf(file, picture.width, picture.height, AV_PIX_FMT_RGBA64BE, [&](AVFrame& frame) {
    const int code = av_frame_get_buffer(&frame, 0);
    if (code == 0) CopyAsRgba64(picture, frame);
    return code;
  });
}

}  // namespace orvandel::stage
