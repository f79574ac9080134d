// Waves alone: what an advance changes, and which flags a changed setting clears.
#include <gtest/gtest.h>

#include <functional>

#include "effect/sim/wave.h"

namespace orvandel::test {
namespace {

TEST(WaveList, AppendAndRemoveDuringAForwardWalk) {
  WaveList list;
  for (std::uint32_t i = 0; i < 5; ++i) list.Append().sides = i;
  for (auto position = list.waves.begin(); position != list.waves.end();) {
    position = position->sides % 2 == 0 ? list.Remove(position) : std::next(position);
  }
  ASSERT_EQ(list.waves.size(), 2U);
  EXPECT_EQ(list.waves.front().sides, 1U);
  EXPECT_EQ(list.Remove(std::next(list.waves.begin())), list.waves.end());
  EXPECT_EQ(list.Remove(list.waves.begin()), list.waves.end());
  EXPECT_TRUE(list.waves.empty());
}

TEST(WaveList, AFullListRefusesOneMoreAndStaysWhole) {
  WaveList list;
  for (std::uint32_t i = 0; i < 3; ++i) list.Append(3).sides = i;
  try {
    list.Append(3);
    FAIL() << "a fourth wave";
  } catch (const AllocFailed& failure) {
    EXPECT_EQ(failure.size, static_cast<std::int32_t>(4 * sizeof(Wave)));
  }
  EXPECT_EQ(list.waves.size(), 3U);
  EXPECT_EQ(list.waves.back().sides, 2U);
  // Room for all that Frequency 500 and Lifespan 1000 keep alive, and a size that a message can tell.
  EXPECT_GT(kMostWaves, 500U * 1000U);
  EXPECT_LT((kMostWaves + 1) * sizeof(Wave), 0x7FFFFFFFU);
}

TEST(AdvanceWave, MovesGrowsTurnsAndAges) {
  Wave wave;
  wave.expansion = 10;
  wave.velocity = {60, -30};
  wave.spin = 90;
  wave.placedValid = true;
  wave.shapeValid = true;
  AdvanceWave(wave, 0);
  EXPECT_FALSE(wave.placedValid);
  EXPECT_TRUE(wave.shapeValid);
  EXPECT_EQ(wave.size, 0.0F);
  for (int i = 0; i < 30; ++i) AdvanceWave(wave, 1.0F / 30);
  EXPECT_NEAR(wave.size, 300, 1e-3);
  EXPECT_NEAR(wave.offset.x, 60, 1e-4);
  EXPECT_NEAR(wave.offset.y, -30, 1e-4);
  EXPECT_NEAR(wave.rotation, 90, 1e-4);
  EXPECT_NEAR(wave.age, 1, 1e-6);
  EXPECT_EQ(wave.orientation, 0.0F);
}

// One row a setting: what its change clears, by the list's wave type.
struct Row {
  const char* name;
  std::function<void(WaveSettings&)> change;
  int waveType;
  bool clearsShape, clearsPlaced;
};

TEST(ApplySettings, ChangedValuesClearTheFlagsTheyMakeStale) {
  const Row rows[] = {
      {"sides", [](WaveSettings& s) { s.sides = 9; }, 1, true, false},
      {"origin", [](WaveSettings& s) { s.producerPoint.y = 0.25F; }, 1, false, true},
      {"orientation", [](WaveSettings& s) { s.orientation = 4; }, 3, false, true},
      {"curve size", [](WaveSettings& s) { s.curveSize = 0.5F; }, 1, false, true},
      {"curvyness", [](WaveSettings& s) { s.curvyness = 0.5F; }, 1, false, true},
      {"curve size of a mask", [](WaveSettings& s) { s.curveSize = 0.5F; }, 3, false, false},
      {"star", [](WaveSettings& s) { s.star = true; }, 1, true, false},
      {"star depth", [](WaveSettings& s) { s.starDepth = 1; }, 1, true, false},
      {"star of a contour", [](WaveSettings& s) { s.star = true; }, 2, false, false},
      {"channel", [](WaveSettings& s) { s.valueChannel = 3; }, 2, true, false},
      {"channel of a polygon", [](WaveSettings& s) { s.valueChannel = 3; }, 1, false, false},
      {"invert", [](WaveSettings& s) { s.invertInput = true; }, 2, true, false},
      {"threshold", [](WaveSettings& s) { s.valueThreshold = 3; }, 2, true, false},
      {"blur", [](WaveSettings& s) { s.preBlur = 3; }, 2, true, false},
      {"tolerance", [](WaveSettings& s) { s.tolerance = 3; }, 2, true, false},
      {"centre", [](WaveSettings& s) { s.sourceCenter.y = 3; }, 2, true, false},
      {"contour", [](WaveSettings& s) { s.contour = 3; }, 2, true, false},
      {"width", [](WaveSettings& s) { s.startWidth = s.endWidth = 3; }, 1, false, false},
      {"colour", [](WaveSettings& s) { s.color = 3; }, 1, false, false},
      {"time", [](WaveSettings& s) { s.sampleTime = 3; }, 2, false, false},
  };
  for (const Row& row : rows) {
    WaveList list;
    list.settings.waveType = row.waveType;
    Wave& wave = list.Append();
    ApplySettings(list, wave);
    wave.shapeValid = wave.placedValid = true;
    ApplySettings(list, wave);
    EXPECT_TRUE(wave.shapeValid && wave.placedValid) << row.name << ": equal values change nothing";
    row.change(list.settings);
    ApplySettings(list, wave);
    EXPECT_EQ(!wave.shapeValid, row.clearsShape) << row.name;
    EXPECT_EQ(!wave.placedValid, row.clearsPlaced) << row.name;
  }
  WaveList list;
  Wave& wave = list.Append();
  wave.shapeValid = true;
  list.settings.waveType = 3;
  ApplySettings(list, wave);
  EXPECT_FALSE(wave.shapeValid) << "another wave type needs another shape";
}

}  // namespace
}  // namespace orvandel::test
