// What becomes of the effect's pictures on their way to a file: laid over one another, blurred, in 16 bits.
#include "stage/render/scene_renderer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "stage/base/errors.h"
#include "stage/loading/loaded_effect.h"
#include "stage/render/composite.h"
#include "stage/render/motion_blur.h"
#include "stage/scene/scene_reader.h"
#include "tests/stage_host/media_files.h"

namespace orvandel::stage {
namespace {

constexpr Blend kBlends[] = {Blend::kNormal, Blend::kAdd, Blend::kScreen, Blend::kMultiply};

// --- Laying pictures over one another.

using Color = std::array<double, 4>;  // alpha, then the three colours times alpha

// The formulas in the words of the separable blend modes: the blended colour counts where both pictures are, each
// picture's own where it is alone.
Color Mixed(const Color& backdrop, const Color& source, Blend blend) {
  const double as = source[0], ab = backdrop[0];
  Color mixed{};
  if (blend == Blend::kAdd) {
    for (std::size_t i = 0; i < 4; ++i) mixed[i] = std::min(1.0, source[i] + backdrop[i]);
    return mixed;
  }
  mixed[0] = as + ab - as * ab;
  for (std::size_t i = 1; i < 4; ++i) {
    const double s = as == 0 ? 0 : source[i] / as, b = ab == 0 ? 0 : backdrop[i] / ab;
    const double both = blend == Blend::kNormal ? s : blend == Blend::kScreen ? s + b - s * b : s * b;
    mixed[i] = as * (1 - ab) * s + ab * (1 - as) * b + as * ab * both;
  }
  return mixed;
}

TEST(Compositor, AgreesWithTheFormulasPixelByPixel) {
  std::mt19937 random(3);
  for (int round = 0; round < 60; ++round) {
    Compositor canvas(17, 9);
    std::array<Color, 17 * 9> expected{};
    for (int layer = 0; layer < 4; ++layer) {
      const Picture picture = RandomPicture(17, 9, random);
      const Blend blend = kBlends[random() % 4];
      const double opacity = static_cast<double>(random() % 5) / 4;
      canvas.Lay(picture, blend, opacity);
      for (std::size_t i = 0; i < expected.size(); ++i) {
        const std::uint8_t* pixel = &picture.bytes[i * 4];
        const double alpha = pixel[0] / 255.0 * opacity;
        expected[i] =
            Mixed(expected[i], {alpha, alpha * pixel[1] / 255, alpha * pixel[2] / 255, alpha * pixel[3] / 255}, blend);
      }
    }
    const Picture16 result = canvas.Result();
    for (std::size_t i = 0; i < expected.size(); ++i) {
      const std::uint16_t* got = &result.words[i * 4];
      ASSERT_NEAR(got[0], expected[i][0] * 65535, 0.6);
      for (std::size_t c = 1; c < 4; ++c) {
        ASSERT_NEAR(got[c], got[0] == 0 ? 0 : expected[i][c] / expected[i][0] * 65535, 2) << "pixel " << i;
      }
    }
  }
}

// --- The mean of a frame's samples.

TEST(LightMean, IsTheMeanOfLightInSixteenBits) {
  std::mt19937 random(4);
  for (const int count : {1, 2, 3, 16, 64}) {
    LightMean mean(13, 11);
    std::array<Color, 13 * 11> sums{};
    Picture last;
    for (int i = 0; i < count; ++i) {
      const Picture picture = RandomPicture(13, 11, random);
      mean.Add(Widened(picture));
      for (std::size_t at = 0; at < sums.size(); ++at) {
        const std::uint8_t* pixel = &picture.bytes[at * 4];
        sums[at][0] += pixel[0] / 255.0;
        for (std::size_t c = 1; c < 4; ++c) sums[at][c] += pixel[0] / 255.0 * ToLinear(pixel[c] / 255.0);
      }
      last = picture;
    }
    const Picture16 result = mean.Result();
    for (std::size_t at = 0; at < sums.size(); ++at) {
      ASSERT_NEAR(result.words[at * 4], sums[at][0] / count * 65535, 0.51);
      for (std::size_t c = 1; c < 4; ++c) {
        const double expected = sums[at][0] == 0 ? 0 : ToStored(sums[at][c] / sums[at][0]) * 65535;
        ASSERT_NEAR(result.words[at * 4 + c], expected, 1) << count << " samples";
      }
    }
    if (count > 1) continue;
    for (std::size_t at = 0; at < last.bytes.size(); at += 4) {  // one sample: its own values
      if (last.bytes[at] == 0) std::fill_n(&last.bytes[at], 4, std::uint8_t{0});
    }
    EXPECT_EQ(result.words, Widened(last).words);
  }
}

TEST(SampleTimes, AreSpreadOverTheShutter) {
  const Timebase time = MakeTimebase({24, 1}, {10, 1});
  const double step = time.timeStep;
  for (const MotionBlur& blur : {MotionBlur{1, 180, 90}, MotionBlur{4, 180, 0}, MotionBlur{16, 360, -180},
                                 MotionBlur{64, 720, 720}, MotionBlur{3, 0, 10}}) {
    for (const int frame : {0, 1, 100}) {
      const auto times = SampleTimes(blur, time, time.TimeOfFrame(frame));
      ASSERT_EQ(times.size(), static_cast<std::size_t>(blur.samples));
      for (int i = 0; i < blur.samples; ++i) {
        const double turn = blur.samples == 1 ? 0 : (blur.phase + blur.shutter * i / blur.samples) / 360;
        EXPECT_NEAR(times[static_cast<std::size_t>(i)], std::max(0.0, (frame + turn) * step), 0.51);
      }
    }
  }
}

// --- Whole scenes.

const char* const kParameters[] = {
    R"json({"Frequency": 4, "Expansion": 1, "Color": "#ff8000", "Fade-out Time": 1})json",
    R"json({"Frequency": 9, "Expansion": 0.5, "Sides": 3, "Spin": 90, "Color": "#0060c0", "Parameters are set at": 2,
        "Lifespan (sec)": {"keyframes": [{"time": 0, "value": 0.2}, {"time": 2, "value": 1}]}})json",
};

class WholeScene : public testing::Test {
 protected:
  Scene Read(const std::string& members) const {
    return ReadSceneText(
        R"({"version": 1, "width": 48, "height": 32, "duration": 2, "frameRate": 24, )" + members + "}", "scene.json",
        module_.Catalog());
  }
  std::vector<std::uint16_t> Words(const Scene& scene, std::int32_t frame) {
    return SceneRenderer(module_, scene, {}).Render16(frame).words;
  }

  EffectModule module_{LoadEffect(ORVANDEL_MODULE_FILE)};
};

TEST_F(WholeScene, OfOneEffectIsTheEffectsOwnPicture) {
  for (const std::string parameters : kParameters) {
    const Scene plain = Read("\"parameters\": " + parameters);
    const Scene listed = Read("\"effects\": [{\"parameters\": " + parameters + "}]");
    const Scene sharp = Read("\"motionBlur\": {\"samples\": 1, \"phase\": 300}, \"parameters\": " + parameters);
    FrameRenderer bare(module_, plain, 0, {});
    SceneRenderer first(module_, plain, {}), second(module_, listed, {}), third(module_, sharp, {});
    for (std::int32_t frame = 0; frame < plain.time.frameCount; frame += 3) {
      const Picture picture = bare.Render(frame);
      EXPECT_EQ(first.Render(frame).bytes, picture.bytes);
      EXPECT_EQ(second.Render(frame).bytes, picture.bytes);
      EXPECT_EQ(third.Render(frame).bytes, picture.bytes);
      EXPECT_EQ(second.Render16(frame).words, Widened(picture).words);
    }
  }
}

TEST_F(WholeScene, OfSeveralEffectsLaysThemInOrder) {
  const char* const names[] = {"normal", "add", "screen", "multiply"};
  for (std::size_t i = 0; i < 4; ++i) {
    const Scene scene = Read(std::string("\"effects\": [{\"parameters\": ") + kParameters[0] +
                             ", \"opacity\": 0.75}, {\"parameters\": " + kParameters[1] + ", \"blend\": \"" + names[i] +
                             "\", \"opacity\": 0.5}]");
    FrameRenderer below(module_, scene, 0, {}), above(module_, scene, 1, {});
    for (const std::int32_t frame : {40, 3, 17}) {
      Compositor canvas(48, 32);
      canvas.Lay(below.Render(frame), Blend::kNormal, 0.75);
      canvas.Lay(above.Render(frame), kBlends[i], 0.5);
      const Picture16 expected = canvas.Result();
      EXPECT_EQ(Words(scene, frame), expected.words) << names[i];
      EXPECT_EQ(SceneRenderer(module_, scene, {}).Render(frame).bytes, Narrowed(expected).bytes);
    }
  }
}

// The mean of the frames that a scene of a higher rate shows at the same times; frames in any order.
TEST_F(WholeScene, IsBlurredByTheFramesBetween) {
  for (const std::string parameters : kParameters) {
    const Scene blurred =
        Read("\"motionBlur\": {\"samples\": 8, \"shutter\": 270, \"phase\": -45}, \"parameters\": " + parameters);
    FrameRenderer sharp(module_, blurred, 0, {});
    SceneRenderer going(module_, blurred, {});
    for (const std::int32_t frame : {30, 0, 47, 1}) {
      LightMean mean(48, 32);
      for (const std::int32_t time : SampleTimes(blurred.motionBlur, blurred.time, blurred.time.TimeOfFrame(frame)))
        mean.Add(Widened(sharp.RenderAt(time)));
      EXPECT_EQ(going.Render16(frame).words, mean.Result().words) << frame;
      EXPECT_EQ(Words(blurred, frame), mean.Result().words) << frame;
    }
  }
}

// The worst difference between a frame and the one a whole time through the scene later, as it is laid over something.
int SeamOf(EffectModule& module, const Scene& scene, std::int32_t frame) {
  const Picture first = SceneRenderer(module, scene, {}).Render(frame);
  const Picture later = SceneRenderer(module, scene, {}).Render(frame + scene.time.frameCount);
  int worst = 0;
  for (std::size_t i = 0; i < first.bytes.size(); ++i) {
    const auto shown = [&](const Picture& picture) {
      return i % 4 == 0 ? picture.bytes[i] : picture.bytes[i] * picture.bytes[i / 4 * 4] / 255;
    };
    worst = std::max(worst, std::abs(shown(first) - shown(later)));
  }
  return worst;
}

TEST_F(WholeScene, LoopsWithinOneLevel) {
  for (const char* const parameters : {
           R"x({"Frequency": 2, "Lifespan (sec)": 3, "Fade-out Time": 1, "Expansion": 1})x",
           R"x({"Frequency": 3.5, "Lifespan (sec)": 2, "Fade-out Time": 0, "Expansion": 1.3, "Spin": 30, "Sides": 5,
               "Orientation": {"keyframes": [{"time": 0, "value": 0}, {"time": 2, "value": 360}]}})x",
           R"x({"Frequency": {"keyframes": [{"time": 0, "value": 2}, {"time": 1, "value": 6}, {"time": 2, "value": 2}]},
               "Color": {"keyframes": [{"time": 0, "value": "#ff0000"}, {"time": 1, "value": "#00ff80"},
               {"time": 2, "value": "#ff0000"}]}, "Lifespan (sec)": 1.5, "Reflection": true})x",
           R"x({"Frequency": 1.5, "Parameters are set at": "Each Frame", "Lifespan (sec)": 4, "Expansion":
               {"expression": "1 + sin(pi * t)"}, "Producer Point": [{"expression": "24 + 9 * sin(pi * t)"}, 16]})x",
           R"x({"Frequency": {"random": {"min": 4, "max": 4}}, "Opacity": {"random": {"min": 0.2, "max": 1}}})x",
       }) {
    const Scene scene = Read(std::string("\"loop\": true, \"parameters\": ") + parameters);
    for (const std::int32_t frame : {0, 1, 17, 30, scene.time.frameCount - 1}) {
      EXPECT_LE(SeamOf(module_, scene, frame), 1) << parameters << " frame " << frame;
    }
  }
  const struct {
    const char *members, *telling;
  } bad[] = {
      {R"("parameters": {"Frequency": 1.3})", "2.6 births in 2 s, which has to be a whole number: 1 (2 births) or 1.5"},
      {R"("parameters": {"Frequency": 0})", "Frequency is 0"},
      {R"("preroll": 1)", "is given together with \"loop\""},
      {R"("parameters": {"Spin": {"expression": "t"}})", "Spin is 0 at the start and 2 after 2 s: 0 would do"},
  };
  for (const auto& [members, telling] : bad) {
    EXPECT_THAT(ErrorOf<InputError>([&] { Read(std::string("\"loop\": true, ") + members); }),
                testing::HasSubstr(telling));
  }
}

TEST_F(WholeScene, BeginsWhereItsPrerollEnds) {
  const std::string parameters =
      R"x("parameters": {"Frequency": 3, "Spin": 9, "Sides": 4, "Lifespan (sec)": 1, "Fade-out Time": 0.5})x";
  const Scene plain = Read(parameters), early = Read("\"preroll\": 0.5, " + parameters);
  EXPECT_EQ(Words(early, 0), Words(plain, 12));
  EXPECT_EQ(Words(early, 30), Words(plain, 42));
}

TEST_F(WholeScene, SaysWhichEffectFailed) {
  const Scene scene = Read(R"("masks": {"m": {"d": "M 1 1 L 20 20 L 5 30"}},
    "effects": [{}, {"parameters": {"Wave Type": "Mask"}}])");
  EXPECT_THAT(ErrorOf<EffectError>([&] { SceneRenderer(module_, scene, {}).Render(10); }),
              testing::HasSubstr("effect 2: "));
}

}  // namespace
}  // namespace orvandel::stage
