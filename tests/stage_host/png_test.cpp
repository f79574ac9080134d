#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include <lodepng/lodepng.h>

#include "media_files.h"
#include "stage/base/errors.h"
#include "stage/films/frame_convert.h"
#include "stage/films/video_stream.h"
#include "stage/media/media_in.h"
#include "stage/stills/png_file.h"

namespace orvandel::stage {
namespace {

Picture ReadStill(const std::filesystem::path& file) {
  return OpenMedia({"", file, {0, 1}}, MakeTimebase({30, 1}, {1, 1}))->Decode(0);
}

TEST(WritePng, EveryByteComesBack) {
  const TempFolder folder;
  std::mt19937 random(5);
  for (int round = 0; round < 20; ++round) {
    const auto size = [&] { return static_cast<std::int32_t>(1 + random() % 90); };
    const Picture picture = RandomPicture(size(), size(), random);
    WritePng(folder / "picture.png", picture);  // over the one before
    const Picture back = ReadStill(folder / "picture.png");
    ASSERT_EQ(std::pair(back.width, back.height), std::pair(picture.width, picture.height));
    ASSERT_EQ(back.bytes, picture.bytes);
  }
  EXPECT_EQ(folder.Names(), std::vector<std::string>{"picture.png"}) << "nothing unfinished is left beside it";
}

TEST(WritePng, SixteenBitsComeBackExactly) {
  const TempFolder folder;
  std::mt19937 random(6);
  Picture16 picture(61, 7);
  for (std::uint16_t& word : picture.words) word = static_cast<std::uint16_t>(random());
  WritePng16(folder / "deep.png", picture);
  const AvFrame frame = NewFrame();
  ASSERT_TRUE(VideoStream(folder / "deep.png").Next(*frame));
  ASSERT_EQ(frame->format, AV_PIX_FMT_RGBA64BE);
  std::size_t at = 0;
  for (std::ptrdiff_t y = 0; y < 7; ++y) {
    for (std::ptrdiff_t x = 0; x < 61; ++x, at += 4) {
      const std::uint8_t* sample = frame->data[0] + y * frame->linesize[0] + x * 8;
      for (const std::size_t channel : {1u, 2u, 3u, 0u}) {
        ASSERT_EQ(sample[0] << 8 | sample[1], picture.words[at + channel]) << x << "," << y;
        sample += 2;
      }
    }
  }
  EXPECT_EQ(ReadStill(folder / "deep.png").bytes, Narrowed(picture).bytes);
}

// Random samples in a form of PNG: 8-bit and 16-bit, grey, colour and palette, a colour that is transparent,
// interlaced.
void WriteForm(const std::filesystem::path& file, LodePNGColorType type, unsigned bits, bool keyed, bool interlaced,
               std::mt19937& random) {
  LodePNGState state;
  lodepng_state_init(&state);
  state.encoder.auto_convert = 0;
  state.info_png.interlace_method = interlaced ? 1 : 0;
  const auto width = static_cast<unsigned>(1 + random() % 40), height = static_cast<unsigned>(1 + random() % 20);
  LodePNGColorMode& mode = state.info_png.color;
  mode.colortype = type;
  mode.bitdepth = bits;
  std::vector<std::uint8_t> samples(lodepng_get_raw_size(width, height, &mode));
  for (std::uint8_t& sample : samples) sample = static_cast<std::uint8_t>(random());
  if (type == LCT_PALETTE) {
    for (unsigned i = 0; i < 1u << bits; ++i) {
      const auto byte = [&] { return static_cast<unsigned char>(random()); };
      lodepng_palette_add(&mode, byte(), byte(), byte(), keyed ? byte() : 255);
    }
  } else if (keyed) {  // the first pixel's own
    const auto sample = [&](std::size_t at) {
      return bits == 16 ? samples[2 * at] << 8 | samples[2 * at + 1] : samples[at] >> (bits < 8 ? 8 - bits : 0);
    };
    mode.key_defined = 1;
    mode.key_r = static_cast<unsigned>(sample(0));
    mode.key_g = type == LCT_RGB ? static_cast<unsigned>(sample(1)) : mode.key_r;
    mode.key_b = type == LCT_RGB ? static_cast<unsigned>(sample(2)) : mode.key_r;
  }
  lodepng_color_mode_copy(&state.info_raw, &mode);
  unsigned char* encoded = nullptr;
  std::size_t size = 0;
  ASSERT_EQ(lodepng_encode(&encoded, &size, samples.data(), width, height, &state), 0u);
  WriteBytes(file, {encoded, encoded + size});
  std::free(encoded);
  lodepng_state_cleanup(&state);
}

TEST(ReadPng, GivesTheSamplesThatTheFilmLibrariesGive) {
  const TempFolder folder;
  std::mt19937 random(7);
  const auto file = folder / "form.png";
  int compared = 0;
  for (const auto& [type, depths] : {std::pair(LCT_GREY, std::vector{1u, 2u, 4u, 8u, 16u}),
                                     {LCT_PALETTE, {1u, 2u, 4u, 8u}},
                                     {LCT_RGB, {8u, 16u}},
                                     {LCT_GREY_ALPHA, {8u, 16u}},
                                     {LCT_RGBA, {8u, 16u}}}) {
    for (const unsigned bits : depths) {
      for (int round = 0; round < 16; ++round) {
        const bool mayBeKeyed = type != LCT_GREY_ALPHA && type != LCT_RGBA && !(type == LCT_GREY && bits < 8);
        const bool keyed = mayBeKeyed && round % 2 == 0, interlaced = round % 4 < 2;
        WriteForm(file, type, bits, keyed, interlaced, random);
        ASSERT_TRUE(IsPng(file));
        const AvFrame frame = NewFrame();
        ASSERT_TRUE(VideoStream(file).Next(*frame));
        ASSERT_EQ(ReadPng(file).bytes, FrameConverter().Convert(*frame).bytes)
            << "type " << type << ", " << bits << " bits" << (keyed ? ", keyed" : "")
            << (interlaced ? ", interlaced" : "");
        ++compared;
      }
    }
  }
  EXPECT_EQ(compared, 15 * 16);
}

// A grey below 8 bits with a transparent value, which the film libraries do not know.
TEST(ReadPng, KnowsTransparentGreyOfFewBits) {
  const TempFolder folder;
  std::mt19937 random(8);
  for (const unsigned bits : {1u, 2u, 4u}) {
    WriteForm(folder / "grey.png", LCT_GREY, bits, true, false, random);
    const Picture picture = ReadPng(folder / "grey.png");
    EXPECT_EQ(picture.bytes[0], 0);
    for (std::size_t at = 0; at < picture.bytes.size(); at += 4) {
      EXPECT_EQ(picture.bytes[at] == 0, picture.bytes[at + 1] == picture.bytes[1]);
    }
  }
}

TEST(WritePng, NamesTheFileAndTheReasonWhenItCannotWrite) {
  const TempFolder folder;
  const Picture picture(4, 4);
  WriteBytes(folder / "plain", {1});
  std::filesystem::create_directory(folder / "taken.png");
  for (const auto& [file, reason] :
       {std::pair(folder / "absent/a.png", "No such file or directory"),
        std::pair(folder / "plain/a.png", "Not a directory"), std::pair(folder / "taken.png", "directory")}) {
    try {
      WritePng(file, picture);
      ADD_FAILURE() << file;
    } catch (const WorkError& error) {
      const std::string text = error.what();
      EXPECT_EQ(text.find(file.string() + ": "), 0u) << text;
      EXPECT_NE(text.find(reason), std::string::npos) << text;
    }
  }
  EXPECT_EQ(folder.Names().size(), 2u) << "a failed attempt leaves nothing";
}

}  // namespace
}  // namespace orvandel::stage
