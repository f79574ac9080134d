// Reading values through slots, and all values of an instant as plain numbers.
#include <gtest/gtest.h>

#include <cmath>

#include "effect/params/param_ids.h"
#include "effect/params/param_slot.h"
#include "effect/params/wave_settings.h"
#include "tests/support/fake_host.h"

namespace orvandel::test {
namespace {

ParamSlot& Fill(ParamSlot& slot, std::int32_t type, std::int32_t word) {
  slot.definition = OrvParamDef{};
  slot.definition.type = type;
  slot.definition.value.integer.value = word;
  return slot;
}

TEST(Sampling, IntegerAndFloatReadsByType) {
  ParamSlot slot;
  for (const std::int32_t word : {0, 1, -1, 98304, -98304, 32768, -32768, 32767, INT32_MAX, INT32_MIN}) {
    const double value = word / 65536.0;
    for (const int type : {ORV_PARAM_FIXED, ORV_PARAM_ANGLE}) {
      Fill(slot, type, word);
      EXPECT_EQ(ReadInteger(slot), static_cast<std::int32_t>(std::floor(value + 0.5))) << word;
      EXPECT_EQ(ReadFloat(slot), static_cast<float>(static_cast<double>(static_cast<float>(word)) / 65536.0)) << word;
    }
    for (const int type : {ORV_PARAM_INTEGER, ORV_PARAM_CHECKBOX, ORV_PARAM_POPUP}) {
      EXPECT_EQ(ReadInteger(Fill(slot, type, word)), word);
      EXPECT_EQ(ReadFloat(slot), static_cast<float>(word));
    }
    for (const int type : {ORV_PARAM_LAYER, ORV_PARAM_COLOR, ORV_PARAM_POINT, ORV_PARAM_PATH, ORV_PARAM_GROUP_START,
                           ORV_PARAM_GROUP_END}) {
      EXPECT_EQ(ReadInteger(Fill(slot, type, word)), 0);
      EXPECT_EQ(ReadFloat(slot), 0.0F);
    }
  }
}

// A context over a fake host's records, for the sampling routines alone.
struct Sampled {
  explicit Sampled(FakeHost& host) {
    host.Send(ORV_QUERY_DYNAMIC_FLAGS);
    context.inRecord = &host.in;
    context.outRecord = &host.out;
    context.globals = static_cast<GlobalData*>(*host.in.globalData);
    context.input = {nullptr, host.in.width, host.in.height, 0, 0};
  }
  EffectContext context;
};

TEST(Sampling, PointsLoseTheOriginOnlyWhenCheckedOut) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  host.SetPoint(kProducerPoint, 100, 100);
  host.in.origin = {10, 20};
  Sampled sampled(host);
  ParamSlot& slot = FilledSlot(sampled.context, kProducerPoint);
  EXPECT_EQ(slot.definition.value.point.x, 90 * 65536);
  EXPECT_EQ(slot.definition.value.point.y, 80 * 65536);
  SampleAt(slot, 500);
  EXPECT_EQ(slot.definition.value.point.x, 90 * 65536);
  EXPECT_EQ(slot.sampleTime, 500);
  EXPECT_TRUE(host.Balanced());
}

TEST(Sampling, LayersStayLentUntilTheTimeChanges) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  {
    Sampled sampled(host);
    ParamSlot& slot = FilledSlot(sampled.context, kSourceLayer);
    EXPECT_TRUE(slot.held);
    const auto calls = host.Calls(Callback::kCheckOut);
    SampleAt(slot, slot.sampleTime);
    EXPECT_TRUE(slot.held);
    SampleAt(slot, slot.sampleTime + 1);
    EXPECT_FALSE(slot.held) << "another time returns the layer; it is fetched again on demand only";
    EXPECT_EQ(host.Calls(Callback::kCheckOut), calls);
  }
  EXPECT_TRUE(host.Balanced());
}

TEST(Sampling, DirectionTurnsIntoVelocity) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  host.SetFixed(kVelocity, 100);
  Sampled sampled(host);
  const auto velocityAt = [&](double degrees) {
    host.SetFixed(kDirection, degrees);
    std::vector<ParamSlot> slots(kSetAt + 40);
    for (int id = 1; id <= kMask; ++id) {
      const std::int32_t index = host.IndexOf(id);
      if (index < 0) continue;
      FillSlot(sampled.context, index);
      slots[static_cast<std::size_t>(id)].definition =
          sampled.context.slots[static_cast<std::size_t>(index)].definition;
    }
    WaveSettings settings;
    FillWaveSettings(settings, slots.data(), sampled.context);
    return settings.velocity;
  };
  for (double degrees = -800; degrees <= 800; degrees += 12.5) {
    const Point2f velocity = velocityAt(degrees);
    EXPECT_NEAR(velocity.x, 100 * std::sin(degrees * M_PI / 180), 1e-4) << degrees;
    EXPECT_NEAR(velocity.y, -100 * std::cos(degrees * M_PI / 180), 1e-4) << degrees;
  }
}

}  // namespace
}  // namespace orvandel::test
