#include "media_files.h"

#include <stdexcept>

extern "C" {
#include <libavutil/imgutils.h>
}

namespace orvandel::stage {
namespace {

void Check(int code) {
  if (code < 0) throw std::runtime_error(AvErrorText(code));
}

}  // namespace

Picture RandomPicture(std::int32_t width, std::int32_t height, std::mt19937& random) {
  Picture picture(width, height);
  for (std::uint8_t& byte : picture.bytes) byte = static_cast<std::uint8_t>(random());
  for (std::size_t i = 0; i < picture.bytes.size(); i += 4) {
    const auto kind = random() % 4;
    if (kind < 2) picture.bytes[i] = kind == 0 ? 0 : 255;
  }
  return picture;
}

AvFrame RandomFrame(AVPixelFormat format, int width, int height, std::mt19937& random) {
  AvFrame frame = NewFrame();
  frame->format = format;
  frame->width = width;
  frame->height = height;
  Check(av_frame_get_buffer(frame.get(), 0));
  for (int y = 0; y < height; ++y) {
    const int rowBytes = av_image_get_linesize(format, width, 0);
    std::uint8_t* row = frame->data[0] + static_cast<std::ptrdiff_t>(y) * frame->linesize[0];
    for (int i = 0; i < rowBytes; ++i) row[i] = static_cast<std::uint8_t>(random());
  }
  if (format == AV_PIX_FMT_PAL8) {
    for (int i = 0; i < 1024; ++i) frame->data[1][i] = static_cast<std::uint8_t>(random());
  }
  return frame;
}

void EncodePng(const std::filesystem::path& file, const AVFrame& frame) {
  const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_PNG);
  const AvCodec codec = NewCodec(encoder);
  codec->width = frame.width;
  codec->height = frame.height;
  codec->pix_fmt = static_cast<AVPixelFormat>(frame.format);
  codec->time_base = {1, 1};
  Check(avcodec_open2(codec.get(), encoder, nullptr));
  const AvPacket packet = NewPacket();
  Check(avcodec_send_frame(codec.get(), &frame));
  Check(avcodec_receive_packet(codec.get(), packet.get()));
  WriteBytes(file, {packet->data, packet->data + packet->size});
}

std::vector<std::uint8_t> ReadBytes(const std::filesystem::path& file) {
  const std::string text = test::ReadFile(file);
  return {text.begin(), text.end()};
}

void WriteBytes(const std::filesystem::path& file, const std::vector<std::uint8_t>& bytes) {
  test::WriteFile(file, {bytes.begin(), bytes.end()});
}

}  // namespace orvandel::stage
