#include "stage/media/media_in.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "media_files.h"
#include "stage/base/errors.h"
#include "stage/films/frame_convert.h"
#include "stage/stills/png_file.h"

extern "C" {
#include <libavutil/crc.h>
#include <libavutil/pixdesc.h>
}

namespace orvandel::stage {
namespace {

constexpr AVPixelFormat kPngFormats[] = {
    AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA, AV_PIX_FMT_RGB48BE,  AV_PIX_FMT_RGBA64BE,  AV_PIX_FMT_PAL8,
    AV_PIX_FMT_GRAY8, AV_PIX_FMT_YA8,  AV_PIX_FMT_GRAY16BE, AV_PIX_FMT_MONOBLACK, AV_PIX_FMT_YA16BE};
constexpr AVPixelFormat kOtherExactFormats[] = {
    AV_PIX_FMT_ARGB,    AV_PIX_FMT_ABGR,    AV_PIX_FMT_BGRA,     AV_PIX_FMT_0RGB,     AV_PIX_FMT_RGB0,
    AV_PIX_FMT_0BGR,    AV_PIX_FMT_BGR0,    AV_PIX_FMT_BGR24,    AV_PIX_FMT_RGBA64LE, AV_PIX_FMT_BGRA64LE,
    AV_PIX_FMT_BGR48LE, AV_PIX_FMT_RGB48LE, AV_PIX_FMT_GRAY16LE, AV_PIX_FMT_YA16LE};

// The samples as the libraries' own description of the format reads them.
std::vector<std::uint8_t> ExpectedBytes(const AVFrame& frame) {
  const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const bool palette = frame.format == AV_PIX_FMT_PAL8;
  const int components = format.nb_components;
  const bool grey = components < 3;
  const bool alpha = components == 2 || components == 4;
  const int depth = format.comp[0].depth;
  const std::uint8_t* data[4] = {frame.data[0], frame.data[1], frame.data[2], frame.data[3]};
  std::vector<std::uint8_t> bytes;
  for (int y = 0; y < frame.height; ++y) {
    for (int x = 0; x < frame.width; ++x) {
      const auto sample = [&](int component) {
        std::uint16_t value = 0;
        av_read_image_line(&value, data, frame.linesize, &format, x, y, component, 1, 0);
        if (depth == 1) return static_cast<std::uint8_t>(value * 255);
        return static_cast<std::uint8_t>(depth == 16 ? std::lround(value / 257.0) : value);
      };
      if (palette) {  // entries are words 0xAARRGGBB
        std::uint32_t entry = 0;
        std::memcpy(&entry, frame.data[1] + 4 * sample(0), sizeof entry);
        for (const int shift : {24, 16, 8, 0}) bytes.push_back(static_cast<std::uint8_t>(entry >> shift));
        continue;
      }
      bytes.push_back(alpha ? sample(components - 1) : std::uint8_t{255});
      for (int c = 0; c < 3; ++c) bytes.push_back(sample(grey ? 0 : c));
    }
  }
  return bytes;
}

std::unique_ptr<MediaSource> OpenAt(const std::filesystem::path& file, Rational rate = {25, 1}) {
  return OpenMedia({"", file, {0, 1}}, MakeTimebase(rate, {100, 1}));
}

TEST(MediaIn, SixteenBitsBecomeTheNearestEight) {
  for (std::uint32_t v = 0; v < 65536; ++v) ASSERT_EQ(EightBits(v), std::lround(v / 257.0)) << v;
}

TEST(MediaIn, EveryExactFormatKeepsItsSamples) {
  const TempFolder folder;
  std::mt19937 random(6);
  for (const AVPixelFormat format : kPngFormats) {
    const AvFrame frame = RandomFrame(format, 37, 19, random);
    EncodePng(folder / "a.png", *frame);
    EXPECT_EQ(OpenAt(folder / "a.png")->Decode(0).bytes, ExpectedBytes(*frame)) << av_get_pix_fmt_name(format);
  }
  for (const AVPixelFormat format : kOtherExactFormats) {
    const AvFrame frame = RandomFrame(format, 11, 7, random);
    EXPECT_EQ(FrameConverter().Convert(*frame).bytes, ExpectedBytes(*frame)) << av_get_pix_fmt_name(format);
  }
}

// Other formats go through the scaler: its ends must meet ours in either range, and the matrix is the frame's own.
TEST(MediaIn, VideoRangeIsExpanded) {
  const auto convert = [](int luma, int u, int v, AVColorRange range, AVColorSpace space,
                          AVPixelFormat format = AV_PIX_FMT_YUV444P) {
    const AvFrame frame = NewFrame();
    frame->format = format;
    frame->width = frame->height = 16;
    frame->color_range = range;
    frame->colorspace = space;
    EXPECT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
    const int values[] = {luma, u, v};
    for (int plane = 0; plane < 3; ++plane) {
      std::fill_n(frame->data[plane], frame->linesize[plane] * 16, static_cast<std::uint8_t>(values[plane]));
    }
    const Picture picture = FrameConverter().Convert(*frame);
    return std::vector<int>(picture.bytes.begin(), picture.bytes.begin() + 4);
  };
  using Pixel = std::vector<int>;
  EXPECT_EQ(convert(16, 128, 128, AVCOL_RANGE_MPEG, AVCOL_SPC_BT709), (Pixel{255, 0, 0, 0}));
  EXPECT_EQ(convert(235, 128, 128, AVCOL_RANGE_MPEG, AVCOL_SPC_BT709), (Pixel{255, 255, 255, 255}));
  EXPECT_EQ(convert(255, 128, 128, AVCOL_RANGE_JPEG, AVCOL_SPC_BT709), (Pixel{255, 255, 255, 255}));
  EXPECT_EQ(convert(255, 128, 128, AVCOL_RANGE_UNSPECIFIED, AVCOL_SPC_UNSPECIFIED, AV_PIX_FMT_YUVJ444P),
            (Pixel{255, 255, 255, 255}))
      << "a format whose name says the range";
  EXPECT_EQ(convert(1, 128, 128, AVCOL_RANGE_UNSPECIFIED, AVCOL_SPC_UNSPECIFIED, AV_PIX_FMT_YUVJ444P),
            (Pixel{255, 1, 1, 1}));
  // Pure red in each matrix's own numbers.
  for (const auto& [space, y, u, v] :
       {std::tuple(AVCOL_SPC_BT709, 63, 102, 240), std::tuple(AVCOL_SPC_BT470BG, 81, 90, 240)}) {
    const Pixel red = convert(y, u, v, AVCOL_RANGE_MPEG, space);
    EXPECT_NEAR(red[1], 255, 2);
    EXPECT_NEAR(red[2], 0, 2);
    EXPECT_NEAR(red[3], 0, 2);
  }
}

TEST(MediaIn, APngThatIsNotWholeIsRefused) {
  const TempFolder folder;
  std::mt19937 random(7);
  EncodePng(folder / "whole.png", *RandomFrame(AV_PIX_FMT_RGBA, 40, 30, random));
  const std::vector<std::uint8_t> whole = ReadBytes(folder / "whole.png");
  const auto refused = [&](const std::vector<std::uint8_t>& bytes) {
    WriteBytes(folder / "part.png", bytes);
    return ErrorOf<InputError>([&] { OpenAt(folder / "part.png"); }).starts_with((folder / "part.png").string() + ": ");
  };
  for (std::size_t size = 0; size < whole.size(); size += size < 200 || size + 40 > whole.size() ? 1 : 97) {
    EXPECT_TRUE(refused({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)})) << size;
  }
  for (int round = 0; round < 100; ++round) {
    std::vector<std::uint8_t> bytes = whole;
    bytes[41 + random() % (bytes.size() - 41 - 12)] ^= static_cast<std::uint8_t>(1 + random() % 255);
    // A flipped bit in a chunk that no picture needs may pass; in the samples the check sum tells.
    if (!refused(bytes)) {
      EXPECT_EQ(OpenAt(folder / "part.png")->Decode(0).width, 40);
    }
  }
}

TEST(MediaIn, RefusesWhatIsNoPicture) {
  const TempFolder folder;
  WriteBytes(folder / "text.png", {'h', 'e', 'l', 'l', 'o'});
  WriteBytes(folder / "empty.png", {});
  const std::string list = "ffconcat version 1.0\nfile whole.png\n";
  std::mt19937 random(8);
  EncodePng(folder / "whole.png", *RandomFrame(AV_PIX_FMT_RGB24, 4, 4, random));
  WriteBytes(folder / "list.mp4", {list.begin(), list.end()});
  WriteWave(folder / "sound.mov", 8000, std::vector<std::int16_t>(8000));  // a film without pictures
  for (const char* name : {"text.png", "empty.png", "list.mp4", "sound.mov", "absent.png", "absent.%04d.png"}) {
    EXPECT_THAT(ErrorOf<InputError>([&] { OpenAt(folder / name); }), testing::StartsWith((folder / name).string()));
  }
}

// Told from the header, before any memory is asked for.
TEST(MediaIn, RefusesPicturesBeyondTheLimit) {
  const TempFolder folder;
  std::mt19937 random(15);
  EncodePng(folder / "huge.png", *RandomFrame(AV_PIX_FMT_GRAY8, 4, 4, random));
  std::vector<std::uint8_t> bytes = ReadBytes(folder / "huge.png");
  for (const std::uint32_t width : {std::uint32_t{16001}, std::uint32_t{1000000}}) {
    const std::uint32_t size[] = {width, 16000};
    for (std::size_t i = 0; i < 8; ++i) bytes[16 + i] = static_cast<std::uint8_t>(size[i / 4] >> (24 - 8 * (i % 4)));
    const std::uint32_t sum = ~av_crc(av_crc_get_table(AV_CRC_32_IEEE_LE), 0xFFFFFFFFu, &bytes[12], 17);
    for (std::size_t i = 0; i < 4; ++i) bytes[29 + i] = static_cast<std::uint8_t>(sum >> (24 - 8 * i));
    WriteBytes(folder / "huge.png", bytes);
    EXPECT_THAT(ErrorOf<InputError>([&] { OpenAt(folder / "huge.png"); }), testing::HasSubstr("256 megapixels"));
  }
}

TEST(MediaIn, APercentSignInAPlainNameIsAPercentSign) {
  const TempFolder folder;
  std::mt19937 random(9);
  const Picture picture = RandomPicture(5, 4, random);
  WritePng(folder / "50%.png", picture);
  WritePng(folder / "a%20b:c.png", picture);
  EXPECT_EQ(OpenAt(folder / "50%.png")->Decode(0).bytes, picture.bytes);
  EXPECT_EQ(OpenAt(folder / "a%20b:c.png")->Decode(0).bytes, picture.bytes);
}

// Frame n of the scene shows picture n of a sequence, at every rate and one unit early as well; a start moves it.
TEST(MediaIn, ANumberedSequencePlaysAtTheScenesRate) {
  const TempFolder folder;
  std::mt19937 random(10);
  std::vector<Picture> pictures;
  for (int i = 0; i < 6; ++i) {
    pictures.push_back(RandomPicture(3, 2, random));
    WritePng(folder / ("shot." + std::to_string(97 + i) + ".png"), pictures.back());
  }
  const auto pattern = folder / "shot.%d.png";
  for (const Rational rate : {Rational{24, 1}, Rational{30000, 1001}, Rational{25, 2}, Rational{2997, 125}}) {
    const Timebase time = MakeTimebase(rate, {10, 1});
    const auto plain = OpenMedia({"", pattern, {0, 1}}, time);
    const Rational late{2, 1};
    const auto shifted = OpenMedia({"", pattern, late}, time);
    EXPECT_TRUE(plain->Moves());
    for (int frame = 0; frame < 10; ++frame) {
      const int expected = std::min(frame, 5);
      for (const int offset : {-1, 0, 1, time.timeStep - 2}) {
        if (frame == 0 && offset < 0) continue;
        const std::int64_t key = plain->KeyAt(time.TimeOfFrame(frame) + offset);
        EXPECT_EQ(key, 97 + expected) << frame << " " << offset;
        EXPECT_EQ(shifted->KeyAt(time.TimeOfFrame(frame) + offset), 97 + std::max(std::min(frame - 2, 5), 0));
      }
      EXPECT_EQ(plain->Decode(plain->KeyAt(time.TimeOfFrame(frame))).bytes,
                pictures[static_cast<std::size_t>(expected)].bytes);
    }
  }
  std::filesystem::remove(folder / "shot.99.png");
  EXPECT_THROW(OpenAt(pattern, {24, 1}), InputError) << "a gap";
}

}  // namespace
}  // namespace orvandel::stage
