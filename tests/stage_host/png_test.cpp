#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "media_files.h"
#include "stage/base/errors.h"
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

TEST(WritePng, NamesTheFileAndTheReasonWhenItCannotWrite) {
  const TempFolder folder;
  const Picture picture(4, 4);
  WriteBytes(folder / "plain", {1});
  std::filesystem::create_directory(folder / "taken.png");
  for (const auto& [file, reason] :
       {std::pair(folder / "absent/a.png", "No such file or directory"),
        std::pair(folder / "plain/a.png", "Not a directory"), std::pair(folder / "taken.png", "directory")}) {
    EXPECT_THAT(ErrorOf<WorkError>([&] { WritePng(file, picture); }),
                testing::AllOf(testing::StartsWith(file.string() + ": "), testing::HasSubstr(reason)));
  }
  EXPECT_EQ(folder.Names().size(), 2u) << "a failed attempt leaves nothing";
}

}  // namespace
}  // namespace orvandel::stage
