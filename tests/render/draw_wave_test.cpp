// What a wave's stroke looks like at a moment of its life, and when the wave leaves the list.

#include <gtest/gtest.h>

#include <cmath>

#include "checked_heap.h"
#include "effect/render/stroke/profile_table.h"
#include "stroke_case.h"

namespace orvandel {
namespace {

Wave WaveAt(float age, float lifespan, float fadeIn, float fadeOut, float opacity) {
  Wave wave;
  wave.age = age;
  wave.lifespan = lifespan;
  wave.fadeIn = fadeIn;
  wave.fadeOut = fadeOut;
  wave.opacity = opacity;
  return wave;
}

Outline Square(float side) { return {{0, 0}, {side, 0}, {side, side}, {0, side}}; }

TEST(CurrentOpacity, FollowsTheFades) {
  struct Row {
    float age, lifespan, fadeIn, fadeOut, opacity, expected;
  };
  const Row rows[] = {
      {0.0F, 3.0F, 0.0F, 0.0F, 0.8F, 0.8F},     // no fades: opaque from the first moment
      {2.999F, 3.0F, 0.0F, 0.0F, 0.8F, 0.8F},   // to the last
      {3.0F, 3.0F, 0.0F, 0.0F, 0.8F, -1.0F},    // dead
      {0.0F, 0.0F, 0.0F, 0.0F, 0.8F, -1.0F},    // never lived
      {0.0F, 3.0F, 1.0F, 0.0F, 0.8F, 0.0F},     // about to fade in
      {0.5F, 3.0F, 1.0F, 0.0F, 1.0F, 0.5F},     // half-way in
      {1.0F, 4.0F, 100.0F, 0.0F, 1.0F, 0.25F},  // the fade is cut to the lifespan
      {3.0F, 4.0F, 0.0F, 100.0F, 1.0F, 0.25F},
      {1.5F, 3.0F, 2.0F, 2.0F, 0.5F, 0.375F},  // both overlap: the smaller factor wins
      {1.0F, 4.0F, 2.0F, 4.0F, 1.0F, 0.5F},
      {3.0F, 4.0F, 4.0F, 2.0F, 1.0F, 0.5F},
  };
  for (const Row& row : rows) {
    const Wave wave = WaveAt(row.age, row.lifespan, row.fadeIn, row.fadeOut, row.opacity);
    EXPECT_EQ(CurrentOpacity(wave), row.expected) << "age " << row.age << " of " << row.lifespan;
  }
}

TEST(StrokeWidth, GoesStraightFromStartToEnd) {
  Wave wave = WaveAt(3, 4, 0, 0, 1);
  wave.startWidth = 10;
  EXPECT_EQ(StrokeWidth(wave), 2.5F);
  wave.endWidth = 30;
  EXPECT_EQ(StrokeWidth(wave), 25.0F);
  wave.age = 0;
  EXPECT_EQ(StrokeWidth(wave), 10.0F);
}

TEST(ProfileTable, HasTheKnownValuesAtFullOpacity) {
  struct Row {
    std::int32_t profile, entry, expected;
  };
  const Row rows[] = {{1, 0, 255}, {1, 500, 255},                                               // Square
                      {2, 0, 0},   {2, 249, 253}, {2, 250, 255}, {2, 251, 255}, {2, 252, 253},  // Triangle
                      {2, 499, 2}, {2, 500, 1},                                                 //
                      {3, 0, 0},   {3, 250, 127}, {3, 500, 254},                                // Sawtooth Out
                      {4, 0, 255}, {4, 250, 127}, {4, 500, 0},                                  // Sawtooth In
                      {5, 0, 4},   {5, 125, 93},  {5, 250, 255}, {5, 375, 93},  {5, 500, 4},    // Gaussian
                      {6, 0, 93},  {6, 125, 198}, {6, 250, 255}, {6, 375, 198}, {6, 500, 93},   // Bell
                      {7, 0, 0},   {7, 125, 180}, {7, 250, 255}, {7, 375, 180}, {7, 500, 0}};   // Sine
  for (const Row& row : rows) {
    ProfileTable table;
    BuildProfileTable(1.0F, row.profile, table);
    EXPECT_EQ(table[static_cast<std::size_t>(row.entry)], row.expected) << row.profile << " at " << row.entry;
  }
}

TEST(ProfileTable, ScalesWithOpacityAndStaysNearItsCurve) {
  const auto curve = [](std::int32_t profile, double u) {
    const double x = 2 * u - 1;
    const double curves[] = {
        0, 1, 1 - std::fabs(x), u, 1 - u, std::exp(-4 * x * x), std::exp(-x * x), std::sin(M_PI * u), 0};
    return curves[profile];
  };
  for (std::int32_t profile = 0; profile <= 8; ++profile) {
    for (float opacity = 0; opacity <= 1; opacity += 0.0625F) {
      ProfileTable table;
      table.fill(-7);
      BuildProfileTable(opacity, profile, table);
      for (std::size_t k = 0; k < table.size(); ++k) {
        const double wanted = curve(profile, static_cast<double>(k) / 500.0) * 255.0 * static_cast<double>(opacity);
        ASSERT_NEAR(table[k], wanted - 0.5, 1.6) << profile << " at " << k << ", opacity " << opacity;
        ASSERT_GE(table[k], 0);
      }
    }
  }
}

TEST(DrawWave, RemovesSkipsOrDraws) {
  struct Row {
    const char* name;
    float age, opacity;
    bool hasOutline, eachFrame, stays, draws;
  };
  const Row rows[] = {{"alive", 1, 1, true, false, true, true},
                      {"dead", 2, 1, true, true, false, false},
                      {"transparent", 1, 0, true, false, true, false},
                      {"without outline, settings of its birth", 1, 1, false, false, false, false},
                      {"without outline, settings of each frame", 1, 1, false, true, true, false},
                      {"transparent and without outline", 1, 0, false, false, false, false}};
  for (const Row& row : rows) {
    StrokeCase stroke;
    stroke.points = row.hasOutline ? Square(20) : Outline{};
    stroke.opacity = row.opacity;
    WaveList list;
    list.Append() = WaveOf(stroke);
    list.waves.front().age = row.age;
    list.waves.front().eachFrame = row.eachFrame;
    list.Append().size = 7;
    Picture picture(20, 20);
    const Picture before = picture;
    const StrokeOutcome outcome = DrawFront(list, stroke, picture);
    EXPECT_EQ(outcome.result, 0) << row.name;
    EXPECT_EQ(list.waves.size(), row.stays ? 2U : 1U) << row.name;
    EXPECT_EQ(list.waves.back().size, 7.0F) << row.name;
    EXPECT_EQ(!(picture == before), row.draws) << row.name;
    EXPECT_EQ(outcome.reports.empty(), !row.draws) << row.name;
  }
}

TEST(DrawWave, TakesTheNearestQualityInRange) {
  const std::pair<std::int32_t, std::int32_t> cases[] = {{-3, 1}, {0, 1}, {17, 16}, {99, 16}};
  for (const auto& [asked, taken] : cases) {
    StrokeCase stroke;
    stroke.points = {{1, 2}, {17, 5}, {9, 19}};
    Picture pictures[] = {Picture(20, 20), Picture(20, 20)};
    stroke.quality = asked;
    Draw(stroke, pictures[0]);
    stroke.quality = taken;
    Draw(stroke, pictures[1]);
    EXPECT_TRUE(pictures[0] == pictures[1]) << asked;
  }
}

TEST(DrawWave, KeepsWaveAndMemoryWhenAnyAllocationFails) {
  for (const std::int32_t quality : {1, 4}) {
    StrokeCase stroke;
    stroke.points = Square(20);
    stroke.quality = quality;
    WaveList list;
    list.Append() = WaveOf(stroke);
    Picture complete(20, 20);
    DrawFront(list, stroke, complete);
    const int blocks = checked_heap::BlocksInUse();
    int failures = 0;
    for (bool failed = true; failed; ++failures) {
      Picture picture(20, 20);
      checked_heap::FailAfter(failures);
      try {
        DrawFront(list, stroke, picture);
        EXPECT_TRUE(picture == complete);
      } catch (const AllocFailed& failure) {
        EXPECT_GT(failure.size, 0);
      }
      failed = checked_heap::HasFailed();
      checked_heap::FailAfter(-1);
      ASSERT_EQ(checked_heap::BlocksInUse(), blocks);
      ASSERT_EQ(list.waves.size(), 1U);
      ASSERT_EQ(list.waves.front().placed, stroke.points);
    }
    EXPECT_GT(failures, 2);
  }
}

}  // namespace
}  // namespace orvandel
