#include "media_files.h"

#include <cmath>
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

void WriteWave(const std::filesystem::path& file, int rate, const std::vector<std::int16_t>& samples) {
  std::vector<std::uint8_t> bytes;
  const auto put = [&](std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  };
  const auto text = [&](const std::string& word) { bytes.insert(bytes.end(), word.begin(), word.end()); };
  const auto dataBytes = static_cast<std::uint32_t>(samples.size() * 4);
  text("RIFF"), put(36 + dataBytes, 4), text("WAVEfmt "), put(16, 4), put(1, 2), put(2, 2);
  put(static_cast<std::uint32_t>(rate), 4), put(static_cast<std::uint32_t>(rate) * 4, 4), put(4, 2), put(16, 2);
  text("data"), put(dataBytes, 4);
  for (const std::int16_t sample : samples) put(static_cast<std::uint16_t>(sample) * 0x10001u, 4);
  WriteBytes(file, bytes);
}

double ToLinear(double stored) { return stored <= 0.04045 ? stored / 12.92 : std::pow((stored + 0.055) / 1.055, 2.4); }
double ToStored(double linear) {
  return linear <= 0.0031308 ? linear * 12.92 : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
}

}  // namespace orvandel::stage
