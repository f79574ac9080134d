#include "plugins/openfx/param_table.h"

#include <algorithm>
#include <cmath>

#include "stage/scene/param_meanings.h"

namespace orvandel::ofx {
namespace {

using stage::ParamInfo;

constexpr double kFixedOne = 65536;
constexpr double kLowestAngle = -32768, kHighestAngle = 32767;  // what the effect's 16.16 words hold
constexpr double kMostFrames = 1e7;                             // a day at 100 frames a second, and a little

bool IsLetterOrDigit(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); }
char Lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
char Raised(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

std::string ScriptName(const std::string& shown) {
  std::string name;
  bool begins = false;
  for (const char c : shown) {
    if (!IsLetterOrDigit(c)) {
      begins = true;
    } else {
      name += name.empty() ? Lowered(c) : begins ? Raised(c) : Lowered(c);
      begins = false;
    }
  }
  return name;
}

std::string HintOf(const ParamInfo& info, const std::vector<std::string>& choices) {
  if (info.Type() == ORV_PARAM_LAYER) {
    return "The picture that is traced: the Source, or what is connected to Layer. Automatic: the Layer where there is "
           "one.";
  }
  if (info.Type() == ORV_PARAM_PATH) {
    return "An SVG file: its path is what waves are the outline of. Several paths are told apart by their ids, as in "
           "logo.svg#ring.";
  }
  const stage::ParamMeaning meaning = stage::MeaningOf(info.name);
  std::string hint(meaning.sentence);
  if (!meaning.unit.empty()) hint += " In " + std::string(meaning.unit) + ".";
  // Few hosts show a hint for each choice.
  for (std::size_t i = 0; i < choices.size(); ++i) hint += (i == 0 ? " One of: " : ", ") + choices[i];
  return choices.empty() ? hint : hint + ".";
}

void SetRange(const ParamInfo& info, ShownParam& shown) {
  const OrvParamValue& value = info.definition.value;
  if (shown.kind == Kind::kInteger) {
    shown.defaults = {double(value.integer.defaultValue)};
    shown.sliderLow = value.integer.sliderMin;
    shown.sliderHigh = value.integer.sliderMax;
  } else if (shown.kind == Kind::kNumber) {
    shown.defaults = {value.fixed.defaultValue / kFixedOne};
    shown.sliderLow = value.fixed.sliderMin / kFixedOne;
    shown.sliderHigh = value.fixed.sliderMax / kFixedOne;
    shown.digits = std::clamp<int>(value.fixed.precision, 0, 6);
  } else {
    shown.defaults = {value.angle.defaultValue / kFixedOne};
    shown.lowest = kLowestAngle;
    shown.highest = kHighestAngle;
    shown.sliderLow = -360;
    shown.sliderHigh = 360;
    shown.digits = 1;
    return;
  }
  shown.lowest = info.ValidMin();
  shown.highest = info.ValidMax();
}

ShownParam Shown(const ParamInfo& info) {
  const OrvParamValue& value = info.definition.value;
  ShownParam shown;
  shown.hostIndex = info.hostIndex;
  shown.name = ScriptName(info.name);
  shown.label = info.name;
  shown.group = GroupName(info.group);
  shown.choices = info.choices;
  switch (info.Type()) {
    case ORV_PARAM_CHECKBOX:
      shown.kind = Kind::kSwitch;
      shown.defaults = {value.checkbox.defaultValue != 0 ? 1.0 : 0.0};
      break;
    case ORV_PARAM_POPUP:
      shown.kind = Kind::kChoice;
      shown.defaults = {value.popup.defaultValue - 1.0};
      break;
    case ORV_PARAM_LAYER:
      shown.kind = Kind::kChoice;
      shown.choices = {"Automatic", "Source", "Layer"};
      shown.animates = false;
      break;
    case ORV_PARAM_PATH:
      shown.kind = Kind::kFile;
      shown.animates = false;
      break;
    case ORV_PARAM_COLOR: {
      const OrvPixel& color = value.color.defaultValue;
      shown.kind = Kind::kColor;
      shown.defaults = {color.red / 255.0, color.green / 255.0, color.blue / 255.0};
      break;
    }
    case ORV_PARAM_POINT:
      shown.kind = Kind::kPoint;
      shown.defaults = {value.point.xDefault / kFixedOne / 100, 1 - value.point.yDefault / kFixedOne / 100};
      break;
    default:
      shown.kind = info.Type() == ORV_PARAM_INTEGER ? Kind::kInteger
                   : info.Type() == ORV_PARAM_ANGLE ? Kind::kAngle
                                                    : Kind::kNumber;
      SetRange(info, shown);
  }
  shown.hint = HintOf(info, shown.choices);
  return shown;
}

constexpr const char* kHostGroup = "groupHost";

ShownParam Own(Kind kind, const char* name, const char* label, const char* hint) {
  ShownParam shown;
  shown.kind = kind;
  shown.name = name;
  shown.label = label;
  shown.hint = hint;
  shown.group = kHostGroup;
  shown.animates = false;
  return shown;
}

void AddOwn(ParamTable& table) {
  table.groups.push_back({kHostGroup, "Host", false});
  ShownParam composite =
      Own(Kind::kChoice, kComposite, "Composite",
          "Over Source: the waves are laid over the Source, where there is one. Waves Alone: nothing but the waves.");
  composite.choices = {"Over Source", "Waves Alone"};
  table.params.push_back(std::move(composite));

  ShownParam start = Own(Kind::kInteger, kStartFrame, "Start Frame",
                         "The frame at which the effect's time begins and the first wave is born. Lower it to have "
                         "waves from the first frame on; some programs count frames from the start of the timeline.");
  start.lowest = -kMostFrames;
  start.highest = kMostFrames;
  start.sliderLow = -300;
  start.sliderHigh = 300;
  table.params.push_back(std::move(start));

  ShownParam rate = Own(Kind::kNumber, kFrameRateParam, "Frame Rate",
                        "Frames a second, where the program does not tell its own. 0: as the program says, 25 if it "
                        "does not.");
  rate.highest = 1000;
  rate.sliderHigh = 120;
  rate.digits = 3;
  table.params.push_back(std::move(rate));
}

}  // namespace

std::string GroupName(const std::string& label) {
  return label.empty() ? std::string() : "group" + std::string(1, Raised(label.front())) + ScriptName(label).substr(1);
}

const ShownParam* ParamTable::Find(const std::string& name) const {
  const auto found = std::find_if(params.begin(), params.end(), [&](const auto& each) { return each.name == name; });
  return found == params.end() ? nullptr : &*found;
}

ParamTable MakeParamTable(const stage::ParamCatalog& catalog) {
  ParamTable table;
  for (const ParamInfo& info : catalog.Params()) {
    if (info.Type() == ORV_PARAM_GROUP_START) {
      table.groups.push_back({GroupName(info.name), info.name, (info.definition.hostFlags & ORV_PARAM_CLOSED) == 0});
    } else if (info.BearsValue()) {
      table.params.push_back(Shown(info));
    }
  }
  AddOwn(table);
  return table;
}

}  // namespace orvandel::ofx
