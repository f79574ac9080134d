#include "plugins/frei0r/param_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>
#include <variant>

#include "plugins/bridge/player.h"
#include "stage/base/errors.h"
#include "stage/base/names.h"
#include "stage/scene/param_meanings.h"

namespace orvandel::frei0r {
namespace {

using Kind = Param::Kind;

// The order that is promised. `middle`: what a half stands for, where the default is no guide, being an end of the
// range or half way along one that is not even.
struct Row {
  const char* name;        // as hosts show it
  const char* effectName;  // as the effect registers it
  Kind kind;
  double middle = 0;
};
constexpr Row kRows[] = {
    {"Color", "Color", Kind::kColor},
    {"Wave Type", "Wave Type", Kind::kWords},
    {"Frequency", "Frequency", Kind::kNumber},
    {"Expansion", "Expansion", Kind::kNumber},
    {"Lifespan", "Lifespan (sec)", Kind::kNumber},
    {"Sides", "Sides", Kind::kNumber},
    {"Start Width", "Start Width", Kind::kNumber},
    {"End Width", "End Width", Kind::kNumber},
    {"Center X", "Producer Point", Kind::kPointX},
    {"Center Y", "Producer Point", Kind::kPointY},
    {"Opacity", "Opacity", Kind::kNumber, 0.5},
    {"Profile", "Profile", Kind::kWords},
    {"Fade In", "Fade-in Time", Kind::kNumber, 1},
    {"Fade Out", "Fade-out Time", Kind::kNumber},
    {"Star", "Star", Kind::kSwitch},
    {"Star Depth", "Star Depth", Kind::kNumber},
    {"Curve Size", "Curve Size", Kind::kNumber, 0.5},
    {"Curvyness", "Curvyness", Kind::kNumber, 0.5},
    {"Orientation", "Orientation", Kind::kAngle},
    {"Spin", "Spin", Kind::kNumber, 100},
    {"Velocity", "Velocity", Kind::kNumber, 100},
    {"Direction", "Direction", Kind::kAngle},
    {"Reflection", "Reflection", Kind::kSwitch},
    {"Set At", "Parameters are set at", Kind::kWords},
    {"Render Quality", "Render Quality", Kind::kNumber},
    {"Mask", "Mask", Kind::kMask},
    {"Value Channel", "Value Channel", Kind::kWords},
    {"Invert Input", "Invert Input", Kind::kSwitch},
    {"Value Threshold", "Value Threshold", Kind::kNumber},
    {"Pre-Blur", "Pre-Blur", Kind::kNumber, 5},
    {"Tolerance", "Tolerance", Kind::kNumber},
    {"Contour", "Contour", Kind::kNumber, 20},
    {"Source Center X", "Source Center", Kind::kPointX},
    {"Source Center Y", "Source Center", Kind::kPointY},
};

constexpr double kTurns = 360;                        // an angle's range, both ways
constexpr double kPointLow = -0.5, kPointHigh = 1.5;  // a point may lie outside the frame

ValueCurve CurveOf(const Row& row, const stage::ParamInfo& info, double defaultValue) {
  const double low = info.ValidMin(), high = info.ValidMax();
  if (low == -high) return ValueCurve::BothWays(row.middle, high);
  return {low, row.middle != 0 ? row.middle : defaultValue, high};
}

std::string Number(double value) { return fmt::format("{:g}", value); }

// What 0, a half and 1 stand for, and what is the default where it is none of these.
std::string RangeText(const Param& param) {
  const ValueCurve& curve = param.curve;
  return fmt::format("0, 0.5 and 1 stand for {}, {} and {}{}{}", Number(curve.At(0)), Number(curve.At(0.5)),
                     Number(curve.At(1)), param.unit.empty() ? "" : " ", param.unit);
}

std::string JoinedWords(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
  return text;
}

void Describe(Param& param) {
  const stage::ParamMeaning meaning = stage::MeaningOf(param.info->name);
  param.unit = meaning.unit;
  param.explanation = meaning.sentence;
  switch (param.kind) {
    case Kind::kNumber:
    case Kind::kAngle:
      param.explanation += " " + RangeText(param) + ".";
      break;
    case Kind::kPointX:
    case Kind::kPointY:
      param.explanation += fmt::format(" {} and {} lie half a frame outside, 0.25 and 0.75 at its edges.", 0, 1);
      break;
    case Kind::kWords:
      param.explanation += " One of: " + JoinedWords(param.words) + ".";
      break;
    case Kind::kMask:
      param.explanation += " The place of a mask of the scene, from 1.";
      break;
    default:
      break;
  }
}

Param EffectParam(const Row& row) {
  Param param;
  param.name = row.name;
  param.kind = row.kind;
  param.info = bridge::Catalog().Find(row.effectName);
  if (param.info == nullptr) throw stage::WorkError(fmt::format("the effect has no parameter {}", row.effectName));
  param.words = param.info->choices;
  const stage::Value value = bridge::DefaultOf(*param.info);
  switch (row.kind) {
    case Kind::kNumber:
      param.curve = CurveOf(row, *param.info, std::get<double>(value));
      param.defaultNumber = param.curve.UnitOf(std::get<double>(value));
      break;
    case Kind::kAngle:
      param.curve = {-kTurns, 0, kTurns};
      param.defaultNumber = param.curve.UnitOf(std::get<double>(value));
      break;
    case Kind::kPointX:
    case Kind::kPointY:
      param.curve = {kPointLow, (kPointLow + kPointHigh) / 2, kPointHigh};
      param.defaultNumber = 0.5;
      break;
    case Kind::kSwitch:
      param.defaultNumber = std::get<stage::Choice>(value).index;
      break;
    case Kind::kColor: {
      const auto color = std::get<stage::ColorValue>(value);
      param.defaultColor = static_cast<std::uint32_t>(color.red) << 16 | static_cast<std::uint32_t>(color.green) << 8 |
                           static_cast<std::uint32_t>(color.blue);
      break;
    }
    case Kind::kWords:
      param.defaultText = param.words.at(static_cast<std::size_t>(std::get<stage::Choice>(value).index) - 1);
      break;
    default:
      break;
  }
  Describe(param);
  return param;
}

Param Text(const char* name, Role role, const char* defaultText, const char* explanation) {
  Param param;
  param.name = name;
  param.role = role;
  param.defaultText = defaultText;
  param.explanation = explanation;
  return param;
}

std::vector<Param> Table(bool isFilter) {
  std::vector<Param> params;
  params.push_back(Text("Scene", Role::kScene, "",
                        "A scene file or the name of a preset: what is drawn. Parameters that are set are changed "
                        "in it."));
  for (const Row& row : kRows) params.push_back(EffectParam(row));
  Param unit = Text("Time Unit", Role::kTimeUnit, "auto",
                    "What the host counts a frame's time in: auto, seconds, milliseconds.");
  unit.kind = Kind::kWords;
  unit.words = {"auto", "seconds", "milliseconds"};
  params.push_back(std::move(unit));
  params.push_back(Text("Frame Rate", Role::kFrameRate, "",
                        "Frames a second, such as 24 or 30000/1001, for times that hit frames exactly; empty: by the "
                        "scene and the time."));
  if (!isFilter) return params;
  Param keep = Text("Keep Input", Role::kKeepInput, "", "Waves are drawn over the picture; off: over nothing.");
  keep.kind = Kind::kSwitch;
  keep.defaultNumber = 1;
  params.push_back(std::move(keep));
  return params;
}

// Whatever the host's language: in Turkish, the library's small letter of I is not i.
std::string Bare(std::string_view text) {
  std::string bare;
  for (const char letter : text) {
    const bool isCapital = letter >= 'A' && letter <= 'Z';
    const char small = isCapital ? static_cast<char>(letter - 'A' + 'a') : letter;
    if ((small >= 'a' && small <= 'z') || (small >= '0' && small <= '9')) bare += small;
  }
  return bare;
}

}  // namespace

const std::vector<Param>& Params(bool isFilter) {
  static const std::vector<Param> filter = Table(true), source = Table(false);
  return isFilter ? filter : source;
}

std::int32_t WordOf(const std::vector<std::string>& words, const std::string& text) {
  const auto same = [&](const std::string& word) { return Bare(word) == Bare(text); };
  const auto found = std::find_if(words.begin(), words.end(), same);
  if (found != words.end()) return static_cast<std::int32_t>(found - words.begin()) + 1;
  const std::string_view number = stage::Trimmed(text);
  std::int32_t index = 0;
  const auto [end, failed] = std::from_chars(number.data(), number.data() + number.size(), index);
  const bool whole = failed == std::errc() && end == number.data() + number.size();
  return whole && index >= 1 && index <= static_cast<std::int32_t>(words.size()) ? index : 0;
}

}  // namespace orvandel::frei0r
