// Opaque outputs: the effect's picture over a colour, a picture or a film.
#include "stage/media/background.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "stage/base/errors.h"
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

TEST(Background, EveryAlphaOverAColourIsTheNearestMix) {
  Picture picture(256, 1);
  for (std::size_t a = 0; a < 256; ++a) {
    picture.bytes[4 * a] = static_cast<std::uint8_t>(a);
    picture.bytes[4 * a + 1] = 200;
    picture.bytes[4 * a + 2] = 0;
    picture.bytes[4 * a + 3] = 255;
  }
  const Picture result = Background("#0a64ff", SceneOf(256, 1), 1).Behind(picture, 0);
  for (std::size_t a = 0; a < 256; ++a) {
    const double alpha = static_cast<double>(a) / 255;
    EXPECT_EQ(result.bytes[4 * a], 255);
    EXPECT_NEAR(result.bytes[4 * a + 1], 200 * alpha + 10 * (1 - alpha), 0.51);
    EXPECT_NEAR(result.bytes[4 * a + 2], 100 * (1 - alpha), 0.51);
    EXPECT_EQ(result.bytes[4 * a + 3], 255);
  }
}

TEST(Background, PicturesStandBehindAtTheRendersSize) {
  const TempFolder folder;
  Picture plate(8, 4);
  for (std::size_t i = 0; i < plate.bytes.size(); ++i) plate.bytes[i] = i % 4 == 0 ? 255 : 90;
  WritePng(folder / "plate.png", plate);
  const std::string file = (folder / "plate.png").string();
  const Picture clear(4, 2);
  const Picture result = Background(file, SceneOf(8, 4), 2).Behind(clear, 0);
  for (std::size_t i = 0; i < result.bytes.size(); ++i) EXPECT_EQ(result.bytes[i], i % 4 == 0 ? 255 : 90);
}

TEST(Background, RefusesWhatIsNeither) {
  for (const char* text : {"#12345", "#12345g", "#", "no/such/file.png"}) {
    EXPECT_THROW(Background(text, SceneOf(4, 4), 1), InputError) << text;
  }
}

}  // namespace
}  // namespace orvandel::stage
