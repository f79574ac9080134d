// Byte forms: exact sizes and offsets, growth, and the way there and back for random lists.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "effect/sim/wave_bytes.h"

namespace orvandel::test {
namespace {

// Every field gets a value of its own.
void Randomise(Wave& w, std::mt19937& random) {
  const auto number = [&] { return std::uniform_real_distribution<float>(-1000, 1000)(random); };
  const auto word = [&] { return static_cast<std::uint32_t>(random()); };
  for (float* f : {&w.size, &w.age, &w.orientation, &w.spin, &w.rotation, &w.startWidth, &w.endWidth, &w.expansion,
                   &w.lifespan, &w.fadeIn, &w.fadeOut, &w.opacity, &w.curveSize, &w.curvyness, &w.starDepth,
                   &w.valueThreshold, &w.preBlur, &w.tolerance}) {
    *f = number();
  }
  w.origin = {number(), number()};
  w.velocity = {number(), number()};
  w.offset = {number(), number()};
  w.sourceCenter = {number(), number()};
  for (std::uint32_t* u : {&w.color, &w.profile, &w.waveType, &w.sides, &w.sourceFingerprint[0],
                           &w.sourceFingerprint[1], &w.valueChannel, &w.contour}) {
    *u = word();
  }
  w.star = word() % 2 == 0;
  w.invertInput = word() % 2 == 0;
  w.eachFrame = word() % 2 == 0;
  w.sampleTime = static_cast<std::int32_t>(word());
  w.shapeValid = word() % 3 != 0;
  w.placedValid = true;
  if (w.shapeValid) {
    for (auto n = word() % 20; n > 0; --n) w.shape.push_back({number(), number()});
  }
}

std::vector<std::uint8_t> BytesOf(const WaveList& list) {
  ByteWriter writer;
  WriteWaveList(list, writer);
  return {writer.Bytes(), writer.Bytes() + writer.Length()};
}

// A new list and a new wave are all zeros, reserved words included; only the count of waves is not.
TEST(WaveBytes, SizesAndOffsets) {
  WaveList list;
  EXPECT_EQ(BytesOf(list), std::vector<std::uint8_t>(109));
  Wave& wave = list.Append();
  std::vector<std::uint8_t> fresh(109 + 148);
  fresh[105] = 1;
  EXPECT_EQ(BytesOf(list), fresh);
  wave.shapeValid = true;
  wave.shape.assign(6, {1, 2});
  wave.age = 0.5F;
  wave.sampleTime = 77;
  wave.eachFrame = true;
  list.settings.sides = 31;
  list.settings.contour = 19;
  const auto bytes = BytesOf(list);
  ASSERT_EQ(bytes.size(), 109U + 200);
  EXPECT_EQ(bytes[52], 31);
  EXPECT_EQ(bytes[93], 19);
  EXPECT_EQ(bytes[105], 1);
  const std::size_t s = 109 + 5 + 48;
  float age = 0;
  std::memcpy(&age, &bytes[s], 4);
  EXPECT_EQ(age, 0.5F);
  EXPECT_EQ(bytes[s + 138], 77);
  EXPECT_EQ(bytes[s + 146], 1);
}

TEST(WaveBytes, TheWriterGrowsToTwiceAndOne) {
  ByteWriter writer;
  std::vector<std::int32_t> capacities;
  for (int i = 0; i < 14; ++i) {
    writer.Append(0.0F);
    capacities.push_back(writer.Capacity());
  }
  writer.Append(UnitPoint{});
  capacities.push_back(writer.Capacity());
  EXPECT_EQ(capacities, (std::vector<std::int32_t>{4, 12, 12, 28, 28, 28, 28, 60, 60, 60, 60, 60, 60, 60, 128}));
}

// The reader and the writer share one list of fields, so offsets are pinned from outside.
TEST(WaveBytes, EveryFieldLiesWhereTheTableSays) {
  WaveList list;
  WaveSettings& s = list.settings;
  Wave& w = list.Append();
  const auto floats = [](std::initializer_list<float*> fields) {
    float value = 1;
    for (float* field : fields) *field = value++;
  };
  floats({&s.expansion, &s.orientation, &s.startWidth, &s.endWidth, &s.opacity, &s.emitPhase, &s.frequency, &s.fadeOut,
          &s.lifespan, &s.producerPoint.x, &s.producerPoint.y, &s.starDepth, &s.curveSize, &s.curvyness,
          &s.valueThreshold, &s.preBlur, &s.tolerance, &s.sourceCenter.x, &s.sourceCenter.y});
  const auto bytes = [&list] { return BytesOf(list); };
  const auto floatAt = [](const std::vector<std::uint8_t>& b, std::size_t at) {
    float value = 0;
    std::memcpy(&value, &b[at], 4);
    return value;
  };
  float expected = 1;
  for (const std::size_t at : {4, 8, 12, 16, 20, 24, 32, 36, 40, 56, 60, 64, 68, 72, 81, 85, 89, 97, 101}) {
    EXPECT_EQ(floatAt(bytes(), at), expected++) << at;
  }
  floats({&w.age,           &w.size,           &w.origin.x, &w.origin.y,    &w.velocity.x,
          &w.velocity.y,    &w.offset.x,       &w.offset.y, &w.orientation, &w.spin,
          &w.rotation,      &w.startWidth,     &w.endWidth, &w.expansion,   &w.lifespan,
          &w.fadeIn,        &w.fadeOut,        &w.opacity,  &w.curveSize,   &w.curvyness,
          &w.starDepth,     &w.valueThreshold, &w.preBlur,  &w.tolerance,   &w.sourceCenter.x,
          &w.sourceCenter.y});
  expected = 1;
  for (const std::size_t at :
       {0, 4, 8, 12, 16, 20, 24, 28, 32, 36, 40, 44, 48, 52, 56, 60, 64, 72, 88, 92, 97, 114, 118, 122, 126, 130}) {
    EXPECT_EQ(floatAt(bytes(), 109 + 1 + at), expected++) << at;
  }
}

TEST(WaveBytes, RandomListsSurvive) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    WaveList list;
    for (auto n = random() % 6; n > 0; --n) Randomise(list.Append(), random);
    list.settings.emitPhase = 0.75F;
    list.settings.invertInput = round % 2 == 0;
    list.settings.fadeIn = 3;
    const auto bytes = BytesOf(list);
    ByteReader reader(bytes.data());
    WaveList back;
    ReadWaveList(reader, back);
    EXPECT_EQ(reader.Position(), static_cast<std::int32_t>(bytes.size()));
    EXPECT_EQ(BytesOf(back), bytes);
    EXPECT_EQ(back.settings.fadeIn, 0.0F) << "not stored";
    auto original = list.waves.begin();
    for (const Wave& wave : back.waves) {
      EXPECT_FALSE(wave.placedValid);
      EXPECT_TRUE(std::ranges::equal(wave.sourceFingerprint, original++->sourceFingerprint));
    }
  }
}

}  // namespace
}  // namespace orvandel::test
