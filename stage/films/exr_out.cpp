// Single pictures: OpenEXR with half floats, linear light, colour times alpha, as programs for compositing expect them.
#include "stage/films/exr_out.h"

#include <cstdint>

#include "stage/base/partial_file.h"
#include "stage/base/stage_clock.h"
#include "stage/ffmpeg/ffmpeg_support.h"
#include "stage/picture/light_curve.h"

namespace orvandel::stage {
namespace {

float* RowOf(AVFrame& frame, int plane, std::int32_t y) {
  return reinterpret_cast<float*>(frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane]);
}

// The library's format has its planes in the order green, blue, red, alpha.
void Fill(const Picture16& picture, AVFrame& frame) {
  constexpr int kPlaneOf[] = {3, 2, 0, 1};  // of alpha, red, green, blue
  const LightCurve& curve = LightCurve::The();
  const std::uint16_t* pixel = picture.words.data();
  for (std::int32_t y = 0; y < picture.height; ++y) {
    float* rows[4];
    for (int c = 0; c < 4; ++c) rows[c] = RowOf(frame, kPlaneOf[c], y);
    for (std::int32_t x = 0; x < picture.width; ++x, pixel += 4) {
      const double alpha = pixel[0] / 65535.0;
      rows[0][x] = static_cast<float>(alpha);
      for (int c = 1; c < 4; ++c) rows[c][x] = static_cast<float>(curve.Light(pixel[c]) / double{kFullLight} * alpha);
    }
  }
}

}  // namespace

void WriteExrFile(const std::filesystem::path& file, const Picture16& picture, IfTaken ifTaken) {
  const StageTimer encoding(WorkStage::kEncoding);
  PartialFile partial(file, ifTaken);
  const AvComplaints complaints;
  const auto check = [&](int code) {
    if (code < 0) partial.Fail("cannot be encoded: " + complaints.Explain(code));
  };
  const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_EXR);
  if (encoder == nullptr) partial.Fail("the libraries at hand have no EXR encoder");
  const AvCodec codec = NewCodec(encoder);
  codec->width = picture.width;
  codec->height = picture.height;
  codec->pix_fmt = AV_PIX_FMT_GBRAPF32;
  codec->time_base = {1, 1};
  codec->thread_count = 1;
  AvOptions options;
  options.Set("format", "half");
  options.Set("compression", "zip16");
  check(avcodec_open2(codec.get(), encoder, options.Address()));
  const AvFrame frame = NewFrame();
  frame->width = picture.width;
  frame->height = picture.height;
  frame->format = codec->pix_fmt;
  check(av_frame_get_buffer(frame.get(), 0));
  Fill(picture, *frame);
  const AvPacket packet = NewPacket();
  check(avcodec_send_frame(codec.get(), frame.get()));
  check(avcodec_receive_packet(codec.get(), packet.get()));
  const StageTimer writing(WorkStage::kWriting);
  partial.Write({packet->data, static_cast<std::size_t>(packet->size)});
  partial.Keep();
}

}  // namespace orvandel::stage
