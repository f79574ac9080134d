// Reading values through slots, and all values of an instant as plain numbers.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>

#include "effect/base/errors.h"
#include "effect/params/layer_image.h"
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
    context.services.Initialise(host.in.services);
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
  EXPECT_EQ(ReadFloat(FilledSlot(sampled.context, kSpin)), 0);
  EXPECT_TRUE(host.Balanced());
}

// A layer is fetched once a time, with the frame's own step; without pixels the effect's own layer stands in.
// Everything else is asked for anew, with the parameters' step.
TEST(Sampling, LayersStayLentUntilTheTimeChanges) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  host.layers = {FencedImage(5, 4)};
  const std::pair<int, std::array<int, 5>> cases[] = {{0, {2, 1, 2, 1, 2}}, {1, {1, 0, 1, 0, 1}}};
  for (const auto& [chosen, fetched] : cases) {
    host.sourceLayer = chosen;
    Sampled sampled(host);
    const std::int32_t times[] = {0, 0, 7, 7, 9};
    for (std::size_t i = 0; i < std::size(times); ++i) {
      host.ResetCalls();
      ParamSlot& slot = AcquireSourceSlot(sampled.context, times[i]);
      EXPECT_EQ(host.Calls(Callback::kCheckOut), fetched[i]) << chosen << ", " << i;
      EXPECT_EQ(slot.hostIndex, chosen == 0 ? 0 : host.IndexOf(kSourceLayer));
      EXPECT_TRUE(slot.held && slot.sampleTime == times[i] && SlotImage(slot).data != nullptr);
      EXPECT_EQ(FilledSlot(sampled.context, kSourceLayer).held, chosen == 1);
      if (i >= 2) {
        EXPECT_EQ(host.lastCheckOut.time, times[i - i % 2]);
        EXPECT_EQ(host.lastCheckOut.step, host.in.timeStep);
      }
      host.ResetCalls();
      SampleAt(slot, slot.sampleTime);
      EXPECT_TRUE(slot.held);
    }
    ParamSlot& mask = FilledSlot(sampled.context, kMask);
    host.masks = {{{{0, 0}, {9, 9}}}};
    for (const std::int32_t time : {5, 5, 6}) {
      const bool keeps = mask.sampleTime == time && mask.pathHandle != 0;
      SampleAt(mask, time);
      EXPECT_TRUE(mask.sampleTime == time && (mask.pathHandle != 0) == keeps);
      if (!keeps) sampled.context.services.PathQuery().checkOutPath(&host, 1, time, 0, 0, &mask.pathHandle);
    }
    host.ResetCalls();
    ParamSlot& slot = FilledSlot(sampled.context, kSourceLayer);
    SampleAt(slot, 11);
    EXPECT_FALSE(slot.held) << "fetched again on demand only";
    EXPECT_EQ(slot.sampleTime, 11);
    EXPECT_EQ(host.Calls(Callback::kCheckOut), 0);
    for (const std::int32_t time : {3, 3}) SampleAt(FilledSlot(sampled.context, kWaveType), time);
    EXPECT_EQ(host.Calls(Callback::kCheckOut), 3);
    EXPECT_EQ(host.lastCheckOut.time, 3);
    EXPECT_EQ(host.lastCheckOut.step, host.in.paramTimeStep);
    EXPECT_EQ(host.lastCheckOut.scale, host.timeScale);
    // A refusal lends nothing; values stay as they were.
    host.Arm({Callback::kCheckOut, 0, 77, true});
    SampleAt(FilledSlot(sampled.context, kWaveType), 4);
    EXPECT_EQ(ReadInteger(FilledSlot(sampled.context, kWaveType)), 1);
    try {
      AcquireSourceSlot(sampled.context, 12);
      ADD_FAILURE();
    } catch (const AbortException& stop) {
      EXPECT_EQ(stop.code, 77);
    }
    host.Disarm();
  }
  EXPECT_TRUE(host.Balanced());
}

TEST(Sampling, OnlyLayersHoldPictures) {
  ParamSlot slot;
  std::uint8_t pixel[4];
  for (const std::int32_t type : {ORV_PARAM_LAYER, ORV_PARAM_INTEGER, ORV_PARAM_GROUP_END}) {
    for (const std::int32_t width : {-1, 0, 1}) {
      for (const std::int32_t height : {-1, 0, 1}) {
        slot.definition.type = type;
        slot.definition.value.layer.image = {pixel, width, height, 4, 0, nullptr};
        EXPECT_EQ(SlotImage(slot).data, type == ORV_PARAM_LAYER && width >= 0 && height >= 0 ? pixel : nullptr);
      }
    }
  }
}

// The same walk by column and row: 3, 5, 11 pixels on, into the next row at most once.
Fingerprint PrintedPlainly(const OrvImage& image) {
  const std::int64_t rowLength = std::abs(image.rowBytes), width = image.width;
  Fingerprint sums = {static_cast<std::uint32_t>(width * width),
                      static_cast<std::uint32_t>(image.height * image.height)};
  for (std::int64_t step = 0, column = 0, row = 0;; ++step) {
    const std::int64_t at = row * rowLength + column * 4;
    if (at + 4 > rowLength * image.height) return sums;
    if (image.rowBytes > 0 || at % rowLength <= 4 * width - 4) {  // upside down nothing lies behind a row
      std::uint32_t word;
      std::memcpy(&word, image.data + at / rowLength * image.rowBytes + at % rowLength, sizeof word);
      word = std::rotr(word, static_cast<int>((step + 1) / 2 % 4 * 8));
      std::uint32_t& sum = sums[static_cast<std::size_t>(step % 2)];
      const char operation = "++^^^---+"[step % 9];
      sum = operation == '+' ? sum + word : operation == '-' ? sum - word : sum ^ word;
    }
    constexpr std::array<std::int64_t, 3> kStrides = {3, 5, 11};
    column += kStrides[static_cast<std::size_t>(step % 3)];
    if (column >= width) {
      column -= width;
      ++row;
    }
  }
}

TEST(Fingerprint, EqualsTheWalkByColumnAndRow) {
  std::mt19937 random(25);
  for (int round = 0; round < 2000; ++round) {
    const auto upTo = [&](unsigned most) { return static_cast<std::int32_t>(random() % (most + 1)); };
    FencedImage image(1 + upTo(round % 2 == 0 ? 12 : 50), 1 + upTo(12), 0, upTo(20), upTo(1) == 1);
    OrvImage view = image.View();
    for (std::int32_t y = 0; y < view.height; ++y) {
      for (std::int32_t i = 0; i < 4 * view.width; ++i) image.Pixel(0, y)[i] = static_cast<std::uint8_t>(random());
    }
    ASSERT_EQ(FingerprintImage(ImageBuffer::FromHost(view)), PrintedPlainly(view)) << "round " << round;
  }
  EXPECT_EQ(FingerprintImage(ImageBuffer{nullptr, 3, 3, 12}), (Fingerprint{0, 0}));
}

TEST(Sampling, SettingsAreFractionsAndVelocities) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  host.SetFixed(kVelocity, 100);
  Sampled sampled(host);
  const auto settingsAt = [&](double degrees) {
    host.SetFixed(kDirection, degrees);
    std::vector<ParamValue> values(kSetAt + 40);
    for (int id = 1; id <= kMask; ++id) {
      ParamSlot& slot = FilledSlot(sampled.context, id);
      SampleAt(slot, 0);
      values[static_cast<std::size_t>(id)] = ValueOf(slot);
    }
    WaveSettings settings;
    FillWaveSettings(settings, values.data(), sampled.context);
    return settings;
  };
  for (double degrees = -800; degrees <= 800; degrees += 12.5) {
    const Velocity<space::Placed> velocity = settingsAt(degrees).velocity;
    EXPECT_NEAR(velocity.x, 100 * std::sin(degrees * M_PI / 180), 1e-4) << degrees;
    EXPECT_NEAR(velocity.y, -100 * std::cos(degrees * M_PI / 180), 1e-4) << degrees;
  }
  EXPECT_FALSE(settingsAt(0).star || settingsAt(0).invertInput);
  host.SetWord(kStar, 1);
  host.SetWord(kInvertInput, -1);
  EXPECT_TRUE(settingsAt(0).star && settingsAt(0).invertInput);
  host.SetPoint(kProducerPoint, 16, 12);
  host.SetPoint(kSourceCenter, 16, 12);
  host.in.downsampleX = {1, 2};
  host.in.downsampleY = {1, 4};
  EXPECT_EQ(settingsAt(0).producerPoint, (FractionPoint{0.5F, 1}));
  EXPECT_EQ(settingsAt(0).sourceCenter, (FractionPoint{0.25F, 0.25F}));
  host.in.width = sampled.context.input.height = 0;
  EXPECT_EQ(settingsAt(0).producerPoint, (FractionPoint{0, 1}));
  EXPECT_EQ(settingsAt(0).sourceCenter, (FractionPoint{0.25F, 0}));
}

}  // namespace
}  // namespace orvandel::test
