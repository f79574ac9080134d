#include "stage/scene/track_reader.h"

#include <array>
#include <cmath>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "stage/base/color_text.h"
#include "stage/base/names.h"

namespace orvandel::stage {
namespace {

constexpr std::array<std::string_view, 3> kSourceKeys{"random", "audio", "expression"};

void MustBePoint(const JsonPlace& place) {
  if (!place.IsArray() || place.Size() != 2) place.FailNot("a point [x, y] in pixels");
}

PointValue ReadPoint(const JsonPlace& place, const ParamInfo& info) {
  MustBePoint(place);
  return {ReadNumberOf(place.Item(0), info), ReadNumberOf(place.Item(1), info)};
}

ColorValue ReadColor(const JsonPlace& place) {
  constexpr std::string_view kForm = "a colour \"#rrggbb\"";
  const std::string& text = place.Text(kForm);
  const auto color = ParseColor(text);
  if (!color) place.FailNot(kForm);
  return {static_cast<double>(*color >> 16 & 0xFFu), static_cast<double>(*color >> 8 & 0xFFu),
          static_cast<double>(*color & 0xFFu)};
}

Choice ReadSwitch(const JsonPlace& place) {
  if (place.Node().kind != JsonNode::Kind::kBool) place.FailNot("true or false");
  return {place.Node().truth ? 1 : 0};
}

Choice ReadPopup(const JsonPlace& place, const std::vector<std::string>& items) {
  const auto count = static_cast<std::int32_t>(items.size());
  std::string allowed;
  for (const std::string& item : items) allowed += (allowed.empty() ? "one of " : ", ") + Quoted(item);
  allowed += fmt::format(" or 1..{}", count);
  if (place.IsNumber()) {
    const double number = place.Node().number;
    if (number < 1 || number > count || number != std::floor(number)) place.FailNot(allowed);
    return {static_cast<std::int32_t>(number)};
  }
  const std::string& text = place.Text(allowed);
  for (std::int32_t i = 0; i < count; ++i) {
    if (items[static_cast<std::size_t>(i)] == text) return {i + 1};
  }
  place.FailUnlike(allowed, text, items);
}

// `what`: "layer" or "mask".
Choice ReadPlace(const JsonPlace& place, const PlaceByName& places, std::string_view what) {
  if (place.IsNull()) return {0};
  const std::string& name = place.Text(fmt::format("the name of a {} or null", what));
  if (const auto found = places.find(name); found != places.end()) return {found->second};
  std::vector<std::string> known;
  for (const auto& [other, index] : places) known.push_back(other);
  if (known.empty()) place.Fail(fmt::format("unknown {0} {1}: the scene has no {0}s", what, place.Found()));
  place.Fail(fmt::format("unknown {} {}{}", what, place.Found(), DidYouMean(name, known)), {}, NearestOf(name, known));
}

Value ReadValue(const JsonPlace& place, const ParamInfo& info, const SceneNames& names) {
  switch (info.Type()) {
    case ORV_PARAM_INTEGER:
    case ORV_PARAM_FIXED:
    case ORV_PARAM_ANGLE:
      return ReadNumberOf(place, info);
    case ORV_PARAM_CHECKBOX:
      return ReadSwitch(place);
    case ORV_PARAM_COLOR:
      return ReadColor(place);
    case ORV_PARAM_POINT:
      return ReadPoint(place, info);
    case ORV_PARAM_POPUP:
      return ReadPopup(place, info.choices);
    case ORV_PARAM_LAYER:
      return ReadPlace(place, names.layers, "layer");
    case ORV_PARAM_PATH:
      return ReadPlace(place, names.masks, "mask");
    default:
      place.Fail("a parameter of a type that scenes cannot set");
  }
}

// Which of its forms an object has: keyframes or, where the parameter takes one, a source.
std::string_view FormOf(const JsonPlace& place, const ParamInfo& info) {
  place.OnlyKeys({"keyframes", "random", "audio", "expression"});
  std::string_view form = "keyframes";
  for (const std::string_view key : kSourceKeys) {
    if (!place.Find(key)) continue;
    if (!TakesSources(info)) place.FailAt(key, "gives numbers over time, which this parameter does not take");
    if (info.Type() == ORV_PARAM_POINT) {
      place.FailAt(key, "gives one number; a point takes two: [{\"" + std::string(key) + "\": ...}, y]");
    }
    if (place.Size() > 1) place.FailAt(key, "is given together with another source: a parameter has one");
    form = key;
  }
  return form;
}

bool HasSource(const JsonPlace& point) {
  for (std::size_t i = 0; point.IsArray() && i < point.Size(); ++i) {
    if (point.Item(i).IsObject()) return true;
  }
  return false;
}

// A point whose coordinates come from sources, or one of them.
Track ReadSourcedPoint(const JsonPlace& place, const ParamInfo& info, SourceReader& sources) {
  MustBePoint(place);
  Track track;
  for (std::size_t i = 0; i < 2; ++i) {
    const JsonPlace coordinate = place.Item(i);
    if (coordinate.IsObject()) {
      coordinate.OnlyKeys({"random", "audio", "expression"});
      if (coordinate.Size() > 1) coordinate.Fail("has two sources: a coordinate has one");
      track.sources.push_back(sources.Read(coordinate, info, i));
    } else {
      track.sources.emplace_back(ReadNumberOf(coordinate, info));
    }
  }
  return track;
}

}  // namespace

Track ReadTrack(const JsonPlace& place, const ParamInfo& info, const SceneNames& names, KeyReader& keys,
                SourceReader& sources) {
  if (info.Type() == ORV_PARAM_POINT && HasSource(place)) return ReadSourcedPoint(place, info, sources);
  Track track;
  if (place.IsArray() && place.Size() > 0 && place.Node().items[0].kind == JsonNode::Kind::kObject) {
    place.Fail(fmt::format("{} is not a value; keys are written {{\"keyframes\": [...]}}", place.Found()));
  }
  if (!place.IsObject()) {
    track.keys.push_back({0, ReadValue(place, info, names), {}});
  } else if (FormOf(place, info) != "keyframes") {
    track.sources.push_back(sources.Read(place, info, 0));
  } else {
    keys.Read(place, "value", [&](const JsonPlace& value, double time, const Easing& easing) {
      track.keys.push_back({time, ReadValue(value, info, names), easing});
    });
  }
  return track;
}

}  // namespace orvandel::stage
