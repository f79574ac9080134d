#include "stage/scene/value_sources.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <numbers>
#include <random>
#include <set>

#include "stage/base/errors.h"
#include "stage/scene/param_values.h"
#include "stage/scene/scene_reader.h"
#include "stage/sources/audio_envelope.h"
#include "stage/sources/expression.h"
#include "tests/stage/bad_scenes.h"
#include "tests/stage/catalog_for_tests.h"
#include "tests/support/error_of.h"

namespace orvandel::stage {
namespace {

Scene SceneOf(const std::string& parameters, const std::string& frameRate = "\"24000/1001\"") {
  static const ParamCatalog catalog = CatalogForTests();
  return ReadSceneText(SceneWith({{"frameRate", frameRate}, {"duration", "20"}, {"parameters", parameters}}),
                       "scene.json", catalog);
}

double At(const Scene& scene, const char* name, std::int32_t hostTime) {
  return std::get<double>(ValueAtTime(scene, scene.emitters[0], ParamForTests(name), hostTime));
}

// A value changes at the tick that begins a draw and at the unit before it, and nowhere else.
TEST(RandomSource, HoldsEachDrawForItsTime) {
  const struct {
    const char *every, *rate;
    int ticks;
  } cases[] = {{"", "24", 1}, {R"(, "every": "1/10")", "30", 3}, {R"(, "every": 0.5)", "\"30000/1001\"", 15}};
  for (const auto& [every, rate, ticks] : cases) {
    const Scene scene =
        SceneOf(R"({"Frequency": {"random": {"min": 5, "max": 90, "seed": 3)" + std::string(every) + "}}}", rate);
    const std::int32_t unit = scene.time.timeScale / 30;
    std::set<double> seen;
    for (std::int32_t draw = 0; draw < 100; ++draw) {
      const std::int32_t begin = draw * ticks * unit, end = begin + ticks * unit - 2;
      const double value = At(scene, "Frequency", begin);
      EXPECT_TRUE(value >= 5 && value < 90);
      seen.insert(value);
      if (begin > 0) {
        EXPECT_EQ(At(scene, "Frequency", begin - 1), value);
      }
      EXPECT_EQ(At(scene, "Frequency", end), value);
      EXPECT_EQ(At(scene, "Frequency", (begin + end) / 2), value);
    }
    EXPECT_EQ(seen.size(), 100u);
  }
}

// Means, neighbours and bins of long series: as even and as unrelated as their length allows (five standard errors).
TEST(RandomSource, DrawsAreEvenAndUnrelated) {
  constexpr int kCount = 40000, kBins = 16;
  const Timebase time = MakeTimebase({30, 1}, {10, 1});
  const auto series = [&](std::uint64_t seed, std::string_view name, std::size_t coordinate) {
    RandomSource source;
    source.seed = seed;
    source.stream = StreamOf(name, coordinate);
    source.max = 1;
    std::vector<double> draws;
    for (int i = 0; i < kCount; ++i) draws.push_back(NumberAt(source, time, i * 1000));
    return draws;
  };
  const std::vector<std::vector<double>> all = {series(0, "Frequency", 0), series(1, "Frequency", 0),
                                                series(2, "Frequency", 0), series(0, "Producer Point", 0),
                                                series(0, "Producer Point", 1)};
  const double error = 5 / std::sqrt(kCount);
  const auto correlation = [](const std::vector<double>& a, const std::vector<double>& b, std::size_t shift) {
    double sum = 0;
    for (std::size_t i = shift; i < a.size(); ++i) sum += (a[i] - 0.5) * (b[i - shift] - 0.5) * 12;
    return sum / kCount;
  };
  for (std::size_t i = 0; i < all.size(); ++i) {
    std::array<int, kBins> bins{};
    for (const double draw : all[i]) ++bins.at(static_cast<std::size_t>(draw * kBins));
    for (const int bin : bins) EXPECT_NEAR(bin, kCount / kBins, 5 * std::sqrt(kCount / kBins));
    for (std::size_t shift = 1; shift < 4; ++shift) EXPECT_NEAR(correlation(all[i], all[i], shift), 0, error);
    for (std::size_t j = 0; j < i; ++j) EXPECT_NEAR(correlation(all[i], all[j], 0), 0, error) << i << " and " << j;
  }
}

TEST(ExpressionSource, GivesTheFormulasValueAtEveryTime) {
  const struct {
    const char* text;
    std::function<double(double t, double tick, double frame)> value;
  } cases[] = {
      {"1 + 0.5*sin(2*pi*t)", [](double t, double, double) { return 1 + 0.5 * std::sin(2 * std::numbers::pi * t); }},
      {"floor(t*30 + 1e-9) - tick", [](double, double, double) { return 0; }},
      {"frame + width/640 + height/360 - 2", [](double, double, double frame) { return frame; }},
      {"t < 1 ? 3 : mod(-tick, 7)",
       [](double t, double tick, double) { return t < 1 ? 3 : std::fmod(7 - std::fmod(tick, 7), 7); }},
      {"clamp(t, 0.5, 1) + lerp(2, 4, fract(t)) * smoothstep(0, duration, t)",
       [](double t, double, double) {
         const double s = t / 20;
         return std::min(std::max(t, 0.5), 1.0) + (2 + 2 * (t - std::floor(t))) * (s * s * (3 - 2 * s));
       }},
  };
  std::mt19937 random(5);
  for (const auto& [text, value] : cases) {
    const Scene scene = SceneOf(R"({"Frequency": {"expression": ")" + std::string(text) + "\"}}");
    const std::int32_t unit = scene.time.timeScale / 30;
    for (int i = 0; i < 3000; ++i) {
      const auto tick = static_cast<std::int32_t>(random() % 600);
      const auto inside = static_cast<std::int32_t>(random() % static_cast<unsigned>(unit - 1));
      const std::int32_t hostTime = tick * unit + (i % 2 == 0 ? inside : 0);
      const double t = static_cast<double>(hostTime) / scene.time.timeScale;
      const double frame = std::floor((hostTime + 1.0) / scene.time.timeStep);
      const double expected = std::clamp(value(t, tick, frame), 0.0, 500.0);
      ASSERT_NEAR(At(scene, "Frequency", hostTime), expected, 1e-9) << text << " at " << hostTime;
      if (i % 2 == 1 && hostTime > 0) {  // the unit before a tick is the tick
        ASSERT_EQ(At(scene, "Frequency", hostTime - 1), At(scene, "Frequency", hostTime)) << text;
      }
    }
  }
}

TEST(ExpressionSource, StaysInRangeAndRefusesWhatIsNoNumber) {
  const Scene scene = SceneOf(R"j({"Frequency": {"expression": "1/0"}, "Star Depth": {"expression": "-t*1e30"},
    "Direction": {"expression": "1e9*(t-1)"}, "Producer Point": [{"expression": "-1e9"}, 5],
    "Lifespan (sec)": {"expression": "sqrt(1 - t)"}})j");
  EXPECT_EQ(At(scene, "Frequency", 7), 500);
  EXPECT_EQ(At(scene, "Star Depth", 7), -1);
  EXPECT_EQ(At(scene, "Direction", 0), -32768);
  EXPECT_EQ(At(scene, "Direction", 300000), 32768 - 1.0 / 65536);
  EXPECT_EQ(ValueAtTime(scene, scene.emitters[0], ParamForTests("Producer Point"), 0), Value(PointValue{-32768, 5}));
  EXPECT_EQ(At(scene, "Lifespan (sec)", 0), 1);
  EXPECT_EQ(test::ErrorOf<InputError>([&] { At(scene, "Lifespan (sec)", 480000); }),
            "scene.json: /parameters/Lifespan (sec)/expression: the expression is not a number at 2 s");
}

constexpr int kRate = 22050;  // 735 samples a tick

AudioEnvelope Followed(AudioShape shape, int ticks, const std::function<double(double)>& sound, int rate = kRate) {
  EnvelopeFollower follower(shape, rate);
  for (int i = 0; i < ticks * rate / 30; ++i) follower.Add(sound(static_cast<double>(i) / rate));
  return follower.Finish();
}

double Sine(double hertz, double seconds) { return std::sin(2 * std::numbers::pi * hertz * seconds); }

TEST(AudioSource, LevelsAreLoudnessOverTheLoudestMoment) {
  for (const int rate : {kRate, 48000, 8000, 11025}) {  // the last two have no whole number of samples a tick
    const AudioEnvelope envelope = Followed(
        {0, 0, 0, 0}, 90, [](double s) { return (s < 1   ? 0.1
                                                 : s < 2 ? 0.4
                                                         : 0.0) *
                                                Sine(600, s); }, rate);
    EXPECT_NEAR(envelope.LevelAt(15), 0.25, 0.005);
    EXPECT_NEAR(envelope.LevelAt(45), 1, 0.005);
    EXPECT_NEAR(envelope.LevelAt(29.5), (envelope.LevelAt(29) + envelope.LevelAt(30)) / 2, 1e-9);
    EXPECT_EQ(envelope.LevelAt(75), 0);
    EXPECT_EQ(envelope.LevelAt(-1), 0);
    EXPECT_EQ(envelope.LevelAt(1e9), 0);
  }
  const AudioEnvelope silence = Followed({}, 30, [](double) { return 0; });
  EXPECT_EQ(silence.LevelAt(3), 0);
}

// A tone's level beside that of a second one inside the band: -3 dB at an edge, -24 dB an octave beyond.
TEST(AudioSource, BandsPassWhatLiesInThem) {
  const auto gain = [](double hertz) {
    const AudioEnvelope envelope =
        Followed({200, 800, 0, 0}, 120, [&](double s) { return Sine(s < 2 ? 400 : hertz, s); });
    return 20 * std::log10(envelope.LevelAt(105) / envelope.LevelAt(45));
  };
  EXPECT_NEAR(gain(400), 0, 0.1);
  EXPECT_NEAR(gain(200), -3, 0.3);
  EXPECT_NEAR(gain(800), -3, 0.3);
  EXPECT_NEAR(gain(100), -24, 1);
  EXPECT_LT(gain(1600), -23);
  EXPECT_LT(gain(50), -46);
}

TEST(AudioSource, AttackAndReleaseAreTimesOfAnExponential) {
  const AudioEnvelope envelope =
      Followed({0, 0, 0.5, 0.25}, 150, [](double s) { return s >= 1 && s < 4 ? Sine(600, s) : 0; });
  const double peak = 1 - std::exp(-6);
  for (int tick = 30; tick < 120; ++tick) {
    EXPECT_NEAR(envelope.LevelAt(tick), (1 - std::exp(-(tick - 29) / 15.0)) / peak, 1e-3);
  }
  for (int tick = 120; tick < 180; ++tick) {  // the tail goes on after the sound's end
    EXPECT_NEAR(envelope.LevelAt(tick), std::exp(-(tick - 119) / 7.5), 1e-3) << tick;
  }
}

}  // namespace
}  // namespace orvandel::stage
