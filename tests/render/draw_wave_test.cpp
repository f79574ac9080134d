// What a wave's stroke looks like at a moment of its life, and when the wave leaves the list.

#include <gtest/gtest.h>

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

PlacedOutline Square(float side) { return {{0, 0}, {side, 0}, {side, side}, {0, side}}; }

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
    stroke.points = row.hasOutline ? Square(20) : PlacedOutline{};
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

}  // namespace
}  // namespace orvandel
