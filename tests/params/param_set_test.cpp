// The parameter set as hosts see it, and which parameters are active when.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

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
  }
}

// One registration as a text: lasting id, host flags, name or label, type and what its values are.
std::string LineOf(const OrvParamDef& d, const std::string& name, const std::string& choices) {
  std::ostringstream line;
  line << d.id << ' ' << d.hostFlags << " '" << name << "' ";
  const auto number = [](OrvFixed word) { return word / 65536.0; };
  const auto slider = [&](const char* type, const auto& v, const auto& shown) {
    EXPECT_EQ(v.value, v.defaultValue);
    line << type << ' ' << shown(v.value) << ", " << shown(v.validMin) << " to " << shown(v.validMax) << ", "
         << shown(v.sliderMin) << " to " << shown(v.sliderMax);
  };
  const OrvParamValue& v = d.value;
  switch (d.type) {
    case ORV_PARAM_LAYER:
      EXPECT_TRUE(v.layer.image.data == nullptr && v.layer.image.width == 0 && v.layer.image.height == 0);
      line << "layer " << v.layer.defaultLayer;
      break;
    case ORV_PARAM_INTEGER:
      slider("integer", v.integer, [](std::int32_t word) { return word; });
      break;
    case ORV_PARAM_FIXED:
      slider("fixed", v.fixed, number);
      line << ", " << v.fixed.precision << " places";
      EXPECT_EQ(v.fixed.displayFlags, 0);
      break;
    case ORV_PARAM_ANGLE:
      EXPECT_EQ(v.angle.value, v.angle.defaultValue);
      line << "angle " << number(v.angle.value);
      break;
    case ORV_PARAM_CHECKBOX:
      EXPECT_STREQ(d.name, "");
      line << "checkbox";
      EXPECT_TRUE(v.checkbox.value == 0 && v.checkbox.defaultValue == 0);
      break;
    case ORV_PARAM_COLOR:
      EXPECT_EQ(std::memcmp(&v.color.value, &v.color.defaultValue, 4), 0);
      line << "color " << +v.color.value.alpha << ' ' << +v.color.value.red << ' ' << +v.color.value.green << ' '
           << +v.color.value.blue;
      break;
    case ORV_PARAM_POINT:
      EXPECT_TRUE(v.point.x == v.point.xDefault && v.point.y == v.point.yDefault && v.point.bounds == 1);
      line << "point " << number(v.point.x) << ' ' << number(v.point.y);
      break;
    case ORV_PARAM_POPUP:
      EXPECT_EQ(v.popup.value, v.popup.defaultValue);
      EXPECT_EQ(v.popup.choiceCount, 1 + std::count(choices.begin(), choices.end(), '|'));
      line << "popup " << v.popup.value << ' ' << choices;
      break;
    case ORV_PARAM_PATH:
      EXPECT_EQ(v.path.pathId, v.path.defaultPath);
      line << "path " << v.path.pathId;
      break;
    default:
      line << (d.type == ORV_PARAM_GROUP_START ? "group" : d.type == ORV_PARAM_GROUP_END ? "group end" : "?");
  }
  EXPECT_TRUE(d.uiFlags == 0 && d.uiWidth == 0 && d.uiHeight == 0);
  return line.str();
}

// Projects and hosts rely on every word of it.
TEST(ParamSet, EveryRegistration) {
  const std::vector<std::string> expected = {
      "4 0 'Producer Point' point 50 50",
      "6 32 'Parameters are set at' popup 1 Birth|Each Frame",
      "64 32 'Render Quality' integer 4, 1 to 16, 1 to 16",
      "2 64 'Wave Type' popup 1 Polygon|Image Contours|Mask",
      "68 32 '*Polygon' group",
      "8 32 'Sides' integer 64, 3 to 128, 3 to 128",
      "10 32 'Curve Size' fixed 0, 0 to 1, 0 to 1, 3 places",
      "12 32 'Curvyness' fixed 0, 0 to 1, 0 to 1, 3 places",
      "14 32 'Star' checkbox",
      "16 32 'Star Depth' fixed -0.5, -1 to 10, -1 to 1, 2 places",
      "23 0 '' group end",
      "70 32 '*Image Contour' group",
      "18 0 'Source Layer' layer -1",
      "20 0 'Source Center' point 50 50",
      "22 32 'Value Channel' popup 5 Intensity|Red|Green|Blue|Alpha|Hue|Lightness|Saturation|Value",
      "24 32 'Invert Input' checkbox",
      "26 32 'Value Threshold' fixed 127, 0 to 255, 0 to 255, 2 places",
      "28 32 'Pre-Blur' fixed 0, 0 to 50, 0 to 50, 2 places",
      "30 32 'Tolerance' fixed 0.5, 0 to 5, 0 to 5, 3 places",
      "32 32 'Contour' integer 1, 1 to 1000, 1 to 50",
      "43 0 '' group end",
      "72 32 '*Mask' group",
      "66 32 'Mask' path 1",
      "49 0 '' group end",
      "51 0 '*Wave Motion' group",
      "34 32 'Frequency' fixed 1, 0 to 500, 0 to 20, 2 places",
      "36 32 'Expansion' fixed 5, 0 to 1000, 0 to 20, 2 places",
      "38 32 'Orientation' angle 0",
      "42 32 'Direction' angle 90",
      "40 32 'Velocity' fixed 0, 0 to 10000, 0 to 500, 2 places",
      "44 32 'Spin' fixed 0, -10000 to 10000, -360 to 360, 2 places",
      "56 32 'Lifespan (sec) ' fixed 10, 0 to 1000, 0 to 30, 3 places",
      "62 32 'Reflection' checkbox",
      "69 0 '' group end",
      "71 0 '*Stroke' group",
      "48 32 'Profile' popup 1 Square|Triangle|Sawtooth Out|Sawtooth In|Gaussian|Bell|Sine",
      "46 32 'Color' color 255 0 0 255",
      "54 32 'Opacity' fixed 1, 0 to 1, 0 to 1, 3 places",
      "58 32 'Fade-in Time' fixed 0, 0 to 300, 0 to 30, 3 places",
      "60 32 'Fade-out Time' fixed 5, 0 to 300, 0 to 30, 3 places",
      "50 32 'Start Width' fixed 5, 1 to 100, 1 to 50, 2 places",
      "52 32 'End Width' fixed 5, 1 to 100, 1 to 50, 2 places",
      "87 0 '' group end"};
  static OrvUtilities marking;  // names of groups, and no others, are copied by the host
  FakeHost host;
  marking = *host.in.utilities;
  marking.copyString = [](char* target, const char* text) { std::strcpy(std::strcpy(target, "*") + 1, text); };
  host.in.utilities = &marking;
  ASSERT_EQ(host.Send(ORV_PARAM_SET_UP), 0);
  ASSERT_EQ(host.definitions.size(), expected.size() + 1);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(LineOf(host.definitions[i + 1], host.paramNames[i + 1], host.choices[i + 1]), expected[i]);
  }
}

// Whatever a translation says, a name has room for 31 bytes, the choices of a popup for 1023. Every text of one letter
// first, then longer and longer ones.
TEST(ParamSet, TextsAreCutToTheirFields) {
  std::vector<std::string> names, choices;
  {
    FakeHost host;
    ASSERT_EQ(host.Send(ORV_PARAM_SET_UP), 0);
    names = host.paramNames;
    choices = host.choices;
  }
  for (std::size_t length = 0; length < 510; ++length) {
    const auto translate = [length](const std::string& text) {
      return length == 0 ? text.substr(0, 1) : text + std::string(length - 1, '+');
    };
    FakeHost host;
    host.translate = translate;
    ASSERT_EQ(host.Send(ORV_PARAM_SET_UP), 0);
    for (std::size_t i = 1; i < names.size(); ++i) {
      const bool isLabel = host.definitions[i].type == ORV_PARAM_CHECKBOX, isEnd = names[i].empty();
      ASSERT_EQ(host.paramNames[i], isEnd ? "" : translate(names[i]).substr(0, isLabel ? std::string::npos : 31));
      std::istringstream items(choices[i]);
      std::string joined;
      for (std::string item; std::getline(items, item, '|');) joined += (joined.empty() ? "" : "|") + translate(item);
      ASSERT_EQ(host.choices[i], joined.substr(0, 1023));
    }
  }
}

TEST(ParamSet, StartsWhereTheHostCounts) {
  for (const auto& [before, code] : {std::pair{1, 0}, {84, 0}, {85, 512}, {127, 512}, {-1, 512}, {INT32_MAX, 512}}) {
    FakeHost host;
    host.paramCountBefore = before;
    EXPECT_EQ(host.Send(ORV_PARAM_SET_UP), code) << before;
    EXPECT_EQ(host.out.paramCount, before == 85 ? 127 : code == 0 ? before + 43 : before);
  }
}

std::pair<bool, bool> InactiveAndClosed(const FakeHost& host, ParamId id) {
  const OrvParamDef& d = host.uiUpdates.at(host.IndexOf(id));
  return {(d.uiFlags & ORV_PARAM_UI_INACTIVE) != 0, (d.hostFlags & ORV_PARAM_CLOSED) != 0};
}

// Groups stay open or closed, as registered, unless it was the wave type that changed.
TEST(ParamUi, OnlyTheSelectedWaveTypesParametersAreActive) {
  for (int round = 0; round < 5 * 2 * 2 * 5; ++round) {
    const int waveType = round % 5, how = round / 20;
    const bool star = round / 5 % 2 == 1, withParams = round / 10 % 2 == 1;
    FakeHost host;
    ASSERT_EQ(host.SetUp(), 0);
    host.SetWord(kWaveType, waveType);
    host.SetWord(kStar, star ? 1 : 0);
    OrvChangedParam selector{host.IndexOf(kWaveType)}, other{host.IndexOf(kSides)}, unknown{99};
    OrvChangedParam* const changed[] = {&selector, &other, &unknown, nullptr, nullptr};
    host.ResetCalls();
    ASSERT_EQ(host.Send(how == 4 ? ORV_UPDATE_PARAMS_UI : ORV_USER_CHANGED_PARAM, changed[how], withParams), 0);
    EXPECT_EQ(host.Calls(Callback::kCheckOut) == 0, withParams);
    const std::vector<std::int32_t> order = {5, 6, 7, 8, 9, 10, 12, 13, 14, 15, 16, 17, 18, 19, 20, 22, 23};
    EXPECT_EQ(host.uiOrder, order) << "by host index, in the order of logical ids";
    const auto inactive = [&host](int id) { return InactiveAndClosed(host, static_cast<ParamId>(id)).first; };
    EXPECT_EQ(inactive(kSides), waveType != 1);
    EXPECT_EQ(inactive(kStarDepth), waveType != 1 || !star);
    for (int id = kSourceLayer; id <= kContour; ++id) EXPECT_EQ(inactive(id), waveType != 2);
    EXPECT_EQ(inactive(kMask), waveType != 3);
    const std::pair<ParamId, int> groups[] = {{kGroupPolygon, 1}, {kGroupImageContour, 2}, {kGroupMask, 3}};
    for (const auto& [id, type] : groups) {
      EXPECT_EQ(InactiveAndClosed(host, id), std::pair(waveType != type, how != 0 || waveType != type)) << how;
    }
    host.SetDown();
  }
}

}  // namespace
}  // namespace orvandel::test
