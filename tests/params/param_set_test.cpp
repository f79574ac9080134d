// The parameter set as hosts see it, and which parameters are active when.
#include <gtest/gtest.h>

#include <cstring>

#include "effect/host/global_data.h"
#include "effect/params/param_ids.h"
#include "tests/support/fake_host.h"

namespace orvandel::test {
namespace {

TEST(ParamSet, IndexTableAndIdentities) {
  FakeHost host;
  ASSERT_EQ(host.Send(ORV_PARAM_SET_UP), 0);
  EXPECT_EQ(host.out.paramCount, 44);
  ASSERT_EQ(host.definitions.size(), 44U);
  const std::vector<std::int32_t> expected = {0,  4,  1,  2,  6,  7,  8,  9,  10, 13, 14, 15, 16,
                                              17, 18, 19, 20, 26, 27, 28, 30, 29, 31, 37, 36, 41,
                                              42, 38, 32, 39, 40, 33, 3,  23, 5,  12, 22};
  const auto& table = static_cast<GlobalData*>(*host.in.globalData)->paramIndexTable;
  for (std::size_t id = 0; id < table.size(); ++id) {
    EXPECT_EQ(table[id], id < expected.size() ? expected[id] : -1) << id;
    if (id >= 1 && id < expected.size()) {
      EXPECT_EQ(host.definitions[static_cast<std::size_t>(table[id])].id, static_cast<std::int32_t>(2 * id));
    }
  }
  const std::pair<int, int> markers[] = {{25, 51}, {35, 71}, {11, 23}, {21, 43}, {24, 49}, {34, 69}, {43, 87}};
  for (const auto& [index, id] : markers) EXPECT_EQ(host.definitions[static_cast<std::size_t>(index)].id, id);
}

TEST(ParamSet, NamesTypesRangesAndDefaults) {
  FakeHost host;
  ASSERT_EQ(host.Send(ORV_PARAM_SET_UP), 0);
  const auto definition = [&](ParamId id) { return host.definitions[static_cast<std::size_t>(host.IndexOf(id))]; };
  const auto choices = [&](ParamId id) { return host.choices[static_cast<std::size_t>(host.IndexOf(id))]; };

  EXPECT_STREQ(definition(kLifespan).name, "Lifespan (sec) ");
  for (const ParamId id : {kStar, kInvertInput, kReflection}) {
    EXPECT_STREQ(definition(id).name, "");
    EXPECT_EQ(definition(id).value.checkbox.defaultValue, 0);
  }
  EXPECT_EQ(host.paramNames[static_cast<std::size_t>(host.IndexOf(kInvertInput))], "Invert Input");

  const OrvFixedValue depth = definition(kStarDepth).value.fixed;
  EXPECT_EQ(depth.defaultValue, -32768);
  EXPECT_EQ(depth.validMin, -65536);
  EXPECT_EQ(depth.validMax, 655360);
  EXPECT_EQ(depth.sliderMax, 65536);
  EXPECT_EQ(depth.precision, 2);
  EXPECT_EQ(definition(kTolerance).value.fixed.defaultValue, 32768);
  EXPECT_EQ(definition(kValueThreshold).value.fixed.defaultValue, 8323072);
  struct Slider {
    ParamId id;
    double value, low, high, sliderLow, sliderHigh;
  };
  for (const Slider& s : {Slider{kFrequency, 1, 0, 500, 0, 20},
                          {kExpansion, 5, 0, 1000, 0, 20},
                          {kVelocity, 0, 0, 10000, 0, 500},
                          {kSpin, 0, -10000, 10000, -360, 360},
                          {kLifespan, 10, 0, 1000, 0, 30},
                          {kFadeInTime, 0, 0, 300, 0, 30},
                          {kFadeOutTime, 5, 0, 300, 0, 30},
                          {kOpacity, 1, 0, 1, 0, 1},
                          {kStartWidth, 5, 1, 100, 1, 50},
                          {kEndWidth, 5, 1, 100, 1, 50},
                          {kPreBlur, 0, 0, 50, 0, 50},
                          {kCurveSize, 0, 0, 1, 0, 1},
                          {kCurvyness, 0, 0, 1, 0, 1}}) {
    const OrvFixedValue f = definition(s.id).value.fixed;
    EXPECT_EQ(definition(s.id).type, ORV_PARAM_FIXED);
    EXPECT_EQ(
        std::vector<std::int32_t>({f.defaultValue, f.validMin, f.validMax, f.sliderMin, f.sliderMax}),
        std::vector<std::int32_t>({static_cast<OrvFixed>(s.value * 65536), static_cast<OrvFixed>(s.low * 65536),
                                   static_cast<OrvFixed>(s.high * 65536), static_cast<OrvFixed>(s.sliderLow * 65536),
                                   static_cast<OrvFixed>(s.sliderHigh * 65536)}))
        << definition(s.id).name;
  }
  const OrvIntegerValue contour = definition(kContour).value.integer;
  EXPECT_EQ(contour.validMax, 1000);
  EXPECT_EQ(contour.sliderMax, 50);
  EXPECT_EQ(contour.defaultValue, 1);

  EXPECT_EQ(choices(kWaveType), "Polygon|Image Contours|Mask");
  EXPECT_EQ(choices(kProfile), "Square|Triangle|Sawtooth Out|Sawtooth In|Gaussian|Bell|Sine");
  EXPECT_EQ(choices(kValueChannel), "Intensity|Red|Green|Blue|Alpha|Hue|Lightness|Saturation|Value");
  EXPECT_EQ(definition(kValueChannel).value.popup.defaultValue, 5);
  EXPECT_EQ(definition(kValueChannel).value.popup.choiceCount, 9);
  EXPECT_EQ(definition(kDirection).value.angle.defaultValue, 90 * 65536);
  EXPECT_EQ(definition(kProducerPoint).value.point.xDefault, 50 * 65536);
  EXPECT_EQ(definition(kProducerPoint).value.point.bounds, 1);
  EXPECT_EQ(definition(kSourceLayer).value.layer.defaultLayer, -1);
  EXPECT_EQ(definition(kMask).value.path.defaultPath, 1);
  const OrvPixel color = definition(kColor).value.color.defaultValue;
  EXPECT_EQ(std::memcmp(&color, "\xFF\0\0\xFF", 4), 0);

  for (std::size_t i = 1; i < host.definitions.size(); ++i) {
    const OrvParamDef& d = host.definitions[i];
    const bool plain = d.id == 2 * kProducerPoint || d.id == 2 * kSourceLayer || d.id == 2 * kSourceCenter ||
                       d.id == 51 || d.id == 71 || d.type == ORV_PARAM_GROUP_END;
    const std::uint32_t flags = d.id == 2 * kWaveType ? 64U : plain ? 0U : 32U;
    EXPECT_EQ(d.hostFlags, flags) << i;
  }
}

struct UiState {
  bool inactive, closed;
};
UiState StateOf(const FakeHost& host, ParamId id) {
  const OrvParamDef& d = host.uiUpdates.at(host.IndexOf(id));
  return {(d.uiFlags & ORV_PARAM_UI_INACTIVE) != 0, (d.hostFlags & ORV_PARAM_CLOSED) != 0};
}

TEST(ParamUi, OnlyTheSelectedWaveTypesParametersAreActive) {
  for (const int waveType : {0, 1, 2, 3, 4}) {
    for (const bool star : {false, true}) {
      for (const bool withParams : {false, true}) {
        FakeHost host;
        ASSERT_EQ(host.SetUp(), 0);
        host.SetWord(kWaveType, waveType);
        host.SetWord(kStar, star ? 1 : 0);
        OrvChangedParam changed{host.IndexOf(kWaveType)};
        ASSERT_EQ(host.Send(ORV_USER_CHANGED_PARAM, &changed, withParams), 0);
        const std::vector<std::int32_t> order = {5, 6, 7, 8, 9, 10, 12, 13, 14, 15, 16, 17, 18, 19, 20, 22, 23};
        EXPECT_EQ(host.uiOrder, order) << "by host index, in the order of logical ids";
        EXPECT_EQ(StateOf(host, kSides).inactive, waveType != 1);
        EXPECT_EQ(StateOf(host, kStarDepth).inactive, waveType != 1 || !star);
        for (int id = kSourceLayer; id <= kContour; ++id) {
          EXPECT_EQ(StateOf(host, static_cast<ParamId>(id)).inactive, waveType != 2);
        }
        EXPECT_EQ(StateOf(host, kMask).inactive, waveType != 3);
        EXPECT_EQ(StateOf(host, kGroupPolygon).closed, waveType != 1);
        EXPECT_EQ(StateOf(host, kGroupImageContour).closed, waveType != 2);
        EXPECT_EQ(StateOf(host, kGroupMask).closed, waveType != 3);
        std::string why;
        EXPECT_TRUE(host.Balanced(&why)) << why;
        host.SetDown();
      }
    }
  }
}

TEST(ParamUi, GroupsStayAsTheyAreUnlessWaveTypeChanged) {
  FakeHost host;
  ASSERT_EQ(host.SetUp(), 0);
  OrvChangedParam other{host.IndexOf(kSides)}, unknown{99};
  const auto send = [&](int how) {
    if (how == 0) return host.Send(ORV_UPDATE_PARAMS_UI);
    return host.Send(ORV_USER_CHANGED_PARAM, how == 1 ? &other : how == 2 ? &unknown : nullptr);
  };
  for (int how = 0; how < 4; ++how) {
    ASSERT_EQ(send(how), 0);
    EXPECT_TRUE(StateOf(host, kGroupPolygon).closed) << "registered closed, and left so";
    EXPECT_FALSE(StateOf(host, kGroupPolygon).inactive);
    EXPECT_TRUE(StateOf(host, kGroupMask).inactive);
  }
  host.Arm({Callback::kAcquire, 0, 5});
  EXPECT_EQ(host.Send(ORV_UPDATE_PARAMS_UI), 512);
  host.Arm({Callback::kUpdateUi, 3, 5});
  EXPECT_EQ(host.Send(ORV_UPDATE_PARAMS_UI), 0) << "the update's result is not looked at";
  host.Disarm();
  std::string why;
  EXPECT_TRUE(host.Balanced(&why)) << why;
  host.SetDown();
}

}  // namespace
}  // namespace orvandel::test
