// Opaque outputs: the effect's picture over a colour, a picture or a film.
#include "stage/media/background.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>

#include "stage/base/errors.h"
#include "stage/films/film_out.h"
#include "stage/stills/png_file.h"
#include "tests/stage_host/media_files.h"

namespace orvandel::stage {
namespace {

Scene SceneOf(std::int32_t width, std::int32_t height) {
  Scene scene;
  scene.width = width;
  scene.height = height;
  scene.time = MakeTimebase({25, 1}, {10, 1});
  return scene;
}

// In words: what the picture adds is weighted with its alpha, and what it hides of the background too.
double Laid(double top, double alpha, double behind, Blend blend) {
  switch (blend) {
    case Blend::kAdd:
      return std::min(1.0, alpha * top + behind);
    case Blend::kScreen:
      return 1 - (1 - alpha * top) * (1 - behind);
    case Blend::kMultiply:
      return behind * (1 - alpha + alpha * top);
    default:
      return alpha * top + (1 - alpha) * behind;
  }
}

TEST(Background, IsTheNearestMixInEveryWay) {
  std::mt19937 random(8);
  Scene scene = SceneOf(64, 16);
  for (int round = 0; round < 64; ++round) {
    scene.blend = std::array{Blend::kNormal, Blend::kAdd, Blend::kScreen, Blend::kMultiply}[random() % 4];
    scene.linear = random() % 2 == 0;
    scene.background.color = static_cast<std::uint32_t>(random() % 0x1000000u);
    const Picture picture = RandomPicture(64, 16, random);
    Picture16 deep = Widened(picture);
    for (std::size_t i = 0; i < deep.words.size(); ++i) {
      if (i % 4 != 0) deep.words[i] = static_cast<std::uint16_t>(random());
    }
    Background background(scene, OutputScale::Downsampled(scene, 1));
    const Picture narrow = background.PutBehind(picture, 0);
    const Picture16 wide = background.PutBehind(deep, 0);
    for (std::size_t at = 0; at < picture.bytes.size(); at += 4) {
      ASSERT_EQ(narrow.bytes[at], 255);
      ASSERT_EQ(wide.words[at], 65535);
      for (std::size_t c = 1; c < 4; ++c) {
        const double alpha = picture.bytes[at] / 255.0,
                     behind = (*scene.background.color >> (24 - 8 * c) & 255) / 255.0;
        const auto mixed = [&](double top) {
          if (!scene.linear) return Laid(top, alpha, behind, scene.blend);
          return ToStored(Laid(ToLinear(top), alpha, ToLinear(behind), scene.blend));
        };
        ASSERT_NEAR(narrow.bytes[at + c], mixed(picture.bytes[at + c] / 255.0) * 255, 0.51);
        ASSERT_NEAR(wide.words[at + c], mixed(deep.words[at + c] / 65535.0) * 65535, 0.6);
      }
    }
  }
}

Picture Plate(std::uint8_t grey) {
  Picture plate(8, 4);
  for (std::size_t i = 0; i < plate.bytes.size(); ++i) plate.bytes[i] = i % 4 == 0 ? 255 : grey;
  return plate;
}

// A film runs along.
TEST(Background, PicturesStandBehindAtTheRendersSize) {
  const TempFolder folder;
  WritePng(folder / "plate.png", Plate(90));
  const auto film = OpenFilm(folder / "plate.mkv", {.frameRate = {25, 1}, .width = 8, .height = 4});
  for (const int frame : {0, 1, 2}) film->Add(Plate(static_cast<std::uint8_t>(90 + 10 * frame)));
  film->Finish();
  Scene scene = SceneOf(8, 4);
  for (const char* name : {"plate.png", "plate.mkv"}) {
    scene.background.medium = Media{"", folder / name, {0, 1}};
    for (const Blend blend : {Blend::kNormal, Blend::kScreen}) {
      scene.blend = blend;
      Background background(scene, OutputScale::Downsampled(scene, 2));
      for (const int frame : {0, 2, 1}) {
        const Picture result = background.PutBehind(Picture(4, 2), scene.time.TimeOfFrame(frame));
        const int grey = name[6] == 'p' ? 90 : 90 + 10 * frame;
        for (std::size_t i = 0; i < result.bytes.size(); ++i) EXPECT_EQ(result.bytes[i], i % 4 == 0 ? 255 : grey);
      }
    }
  }
  scene.background.medium->file = "no/such/file.png";
  EXPECT_THROW(Background(scene, OutputScale::Downsampled(scene, 1)), InputError);
}

}  // namespace
}  // namespace orvandel::stage
