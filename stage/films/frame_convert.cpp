#include "stage/films/frame_convert.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <cstring>
#include <stdexcept>
#include <string>

namespace orvandel::stage {
namespace {

constexpr int kOpaque = -1;

// Where the samples of one pixel lie, counted in samples. Grey: red, green and blue are the same sample.
struct Layout {
  AVPixelFormat format;
  int samples;  // a pixel
  int alpha, red, green, blue;
  int bits;        // a sample: 8 or 16
  bool bigEndian;  // of 16
};

constexpr Layout kLayouts[] = {
    {AV_PIX_FMT_ARGB, 4, 0, 1, 2, 3, 8, false},           {AV_PIX_FMT_RGBA, 4, 3, 0, 1, 2, 8, false},
    {AV_PIX_FMT_ABGR, 4, 0, 3, 2, 1, 8, false},           {AV_PIX_FMT_BGRA, 4, 3, 2, 1, 0, 8, false},
    {AV_PIX_FMT_0RGB, 4, kOpaque, 1, 2, 3, 8, false},     {AV_PIX_FMT_RGB0, 4, kOpaque, 0, 1, 2, 8, false},
    {AV_PIX_FMT_0BGR, 4, kOpaque, 3, 2, 1, 8, false},     {AV_PIX_FMT_BGR0, 4, kOpaque, 2, 1, 0, 8, false},
    {AV_PIX_FMT_RGB24, 3, kOpaque, 0, 1, 2, 8, false},    {AV_PIX_FMT_BGR24, 3, kOpaque, 2, 1, 0, 8, false},
    {AV_PIX_FMT_GRAY8, 1, kOpaque, 0, 0, 0, 8, false},    {AV_PIX_FMT_YA8, 2, 1, 0, 0, 0, 8, false},
    {AV_PIX_FMT_RGBA64BE, 4, 3, 0, 1, 2, 16, true},       {AV_PIX_FMT_RGBA64LE, 4, 3, 0, 1, 2, 16, false},
    {AV_PIX_FMT_BGRA64LE, 4, 3, 2, 1, 0, 16, false},      {AV_PIX_FMT_RGB48BE, 3, kOpaque, 0, 1, 2, 16, true},
    {AV_PIX_FMT_RGB48LE, 3, kOpaque, 0, 1, 2, 16, false}, {AV_PIX_FMT_BGR48LE, 3, kOpaque, 2, 1, 0, 16, false},
    {AV_PIX_FMT_GRAY16BE, 1, kOpaque, 0, 0, 0, 16, true}, {AV_PIX_FMT_GRAY16LE, 1, kOpaque, 0, 0, 0, 16, false},
    {AV_PIX_FMT_YA16BE, 2, 1, 0, 0, 0, 16, true},         {AV_PIX_FMT_YA16LE, 2, 1, 0, 0, 0, 16, false},
};

const Layout* FindLayout(int format) {
  for (const Layout& layout : kLayouts) {
    if (layout.format == format) return &layout;
  }
  return nullptr;
}

const std::uint8_t* RowOf(const AVFrame& frame, std::int32_t y) {
  return frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
}

std::uint8_t* RowOf(Picture& picture, std::int32_t y) {
  return picture.bytes.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) * 4;
}

std::uint8_t SampleOf(const Layout& layout, const std::uint8_t* pixel, int index) {
  if (index == kOpaque) return 255;
  if (layout.bits == 8) return pixel[index];
  const std::uint32_t first = pixel[2 * index];
  const std::uint32_t second = pixel[2 * index + 1];
  return EightBits(layout.bigEndian ? first << 8 | second : second << 8 | first);
}

void CopyPacked(const AVFrame& frame, const Layout& layout, Picture& picture) {
  const int pixelBytes = layout.samples * layout.bits / 8;
  for (std::int32_t y = 0; y < picture.height; ++y) {
    const std::uint8_t* in = RowOf(frame, y);
    std::uint8_t* out = RowOf(picture, y);
    for (std::int32_t x = 0; x < picture.width; ++x, in += pixelBytes, out += 4) {
      out[0] = SampleOf(layout, in, layout.alpha);
      out[1] = SampleOf(layout, in, layout.red);
      out[2] = SampleOf(layout, in, layout.green);
      out[3] = SampleOf(layout, in, layout.blue);
    }
  }
}

// The palette's entries are words 0xAARRGGBB in the machine's order.
void CopyPalette(const AVFrame& frame, Picture& picture) {
  for (std::int32_t y = 0; y < picture.height; ++y) {
    const std::uint8_t* in = RowOf(frame, y);
    std::uint8_t* out = RowOf(picture, y);
    for (std::int32_t x = 0; x < picture.width; ++x, out += 4) {
      std::uint32_t entry = 0;
      std::memcpy(&entry, frame.data[1] + std::size_t{4} * in[x], sizeof entry);
      for (int i = 0; i < 4; ++i) out[i] = static_cast<std::uint8_t>(entry >> (24 - 8 * i));
    }
  }
}

// One bit a pixel, the highest first.
void CopyBits(const AVFrame& frame, bool oneIsWhite, Picture& picture) {
  for (std::int32_t y = 0; y < picture.height; ++y) {
    const std::uint8_t* in = RowOf(frame, y);
    std::uint8_t* out = RowOf(picture, y);
    for (std::int32_t x = 0; x < picture.width; ++x, out += 4) {
      const bool one = (in[x / 8] >> (7 - x % 8) & 1) != 0;
      out[0] = 255;
      out[1] = out[2] = out[3] = one == oneIsWhite ? 255 : 0;
    }
  }
}

// The layouts above only need their bytes reordered; what is left needs conversion.
void SetMatrix(SwsContext* scaler, const AVFrame& frame) {
  const int space = frame.colorspace == AVCOL_SPC_UNSPECIFIED || frame.colorspace == AVCOL_SPC_RGB
                        ? static_cast<int>(SWS_CS_DEFAULT)
                        : static_cast<int>(frame.colorspace);
  const auto* description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const bool fullByName = description != nullptr && std::strncmp(description->name, "yuvj", 4) == 0;
  const int sourceRange = fullByName || frame.color_range == AVCOL_RANGE_JPEG ? 1 : 0;
  constexpr int kFullRange = 1, kNeutral = 1 << 16;
  sws_setColorspaceDetails(scaler, sws_getCoefficients(space), sourceRange, sws_getCoefficients(SWS_CS_DEFAULT),
                           kFullRange, 0, kNeutral, kNeutral);
}

}  // namespace

Picture FrameConverter::Convert(const AVFrame& frame) {
  if (const Layout* layout = FindLayout(frame.format)) {
    Picture picture(frame.width, frame.height);
    CopyPacked(frame, *layout, picture);
    return picture;
  }
  if (frame.format == AV_PIX_FMT_PAL8) {
    Picture picture(frame.width, frame.height);
    CopyPalette(frame, picture);
    return picture;
  }
  if (frame.format == AV_PIX_FMT_MONOBLACK || frame.format == AV_PIX_FMT_MONOWHITE) {
    Picture picture(frame.width, frame.height);
    CopyBits(frame, frame.format == AV_PIX_FMT_MONOBLACK, picture);
    return picture;
  }
  return Scale(frame);
}

// The scaler may write past the end of rows without its own padding, so it writes to a frame of the library's.
Picture FrameConverter::Scale(const AVFrame& frame) {
  const auto format = static_cast<AVPixelFormat>(frame.format);
  constexpr int kFlags = SWS_BICUBIC | SWS_ACCURATE_RND | SWS_BITEXACT | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP;
  scaler_.reset(sws_getCachedContext(scaler_.release(), frame.width, frame.height, format, frame.width, frame.height,
                                     AV_PIX_FMT_ARGB, kFlags, nullptr, nullptr, nullptr));
  if (!scaler_) {
    const char* name = av_get_pix_fmt_name(format);
    throw std::runtime_error(std::string("pixels of the form ") + (name == nullptr ? "unknown" : name) +
                             " cannot be converted");
  }
  SetMatrix(scaler_.get(), frame);
  const AvFrame result = NewFrame();
  result->width = frame.width;
  result->height = frame.height;
  result->format = AV_PIX_FMT_ARGB;
  if (const int code = av_frame_get_buffer(result.get(), 0); code < 0) throw std::runtime_error(AvErrorText(code));
  sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height, result->data, result->linesize);
  Picture picture(frame.width, frame.height);
  for (std::int32_t y = 0; y < picture.height; ++y) {
    std::memcpy(RowOf(picture, y), RowOf(*result, y), static_cast<std::size_t>(picture.width) * 4);
  }
  return picture;
}

}  // namespace orvandel::stage
