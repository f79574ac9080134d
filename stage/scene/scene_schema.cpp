#include "stage/scene/scene_schema.h"

#include <cmath>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "stage/scene/json_tree.h"
#include "stage/scene/key_reader.h"
#include "stage/scene/param_meanings.h"
#include "stage/scene/scene_limits.h"
#include "stage/scene/source_reader.h"

namespace orvandel::stage {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kColorPattern = "^#[0-9a-fA-F]{6}$";
// Above 0.
constexpr const char* kRationalPattern = "^(?![0.]*(/|[eE]|$))[0-9]+(/0*[1-9][0-9]*|(\\.[0-9]+)?([eE][-+]?[0-9]+)?)$";

// Whole numbers without a fraction behind them.
Json Number(double value) {
  return value == std::floor(value) && std::abs(value) < 1e15 ? Json(static_cast<std::int64_t>(value)) : Json(value);
}

Json Ref(std::string_view name) { return {{"$ref", fmt::format("#/definitions/{}", name)}}; }

Json Range(std::string_view type, double low, double high) {
  return {{"type", type}, {"minimum", Number(low)}, {"maximum", Number(high)}};
}

Json Seconds(const char* description) { return {{"description", description}, {"type", "number"}}; }

Json FileName(const char* description) {
  return {{"description", description},
          {"type", "string"},
          {"pattern", "^(?!.*://)"},
          {"minLength", 1},
          {"maxLength", kMaxJsonString}};
}

Json Object(Json properties, Json required = Json::array()) {
  Json object{{"type", "object"}, {"properties", std::move(properties)}};
  if (!required.empty()) object["required"] = std::move(required);
  object["additionalProperties"] = false;
  return object;
}

Json Described(std::string description, const Json& schema) {
  Json result{{"description", std::move(description)}};
  result.update(schema);
  return result;
}

Json EasingForm() {
  Json names = Json::array({"linear", "hold", "ease-in", "ease-out", "ease-in-out"});
  Json curve{{"type", "array"},
             {"items", Json::array({Range("number", 0, 1), Range("number", -1e6, 1e6), Range("number", 0, 1),
                                    Range("number", -1e6, 1e6)})},
             {"minItems", 4},
             {"maxItems", 4}};
  return {{"description",
           "How the value goes from this key to the next: evenly when left out. A timing curve [x1, y1, x2, y2] is a "
           "cubic from (0, 0) to (1, 1), as in style sheets."},
          {"anyOf", Json::array({Json{{"enum", names}}, curve})}};
}

// What all parameters' keyframes and sources have in common is defined once, among the definitions; where it is used,
// the value's own form is laid over it.
Json Overlaid(std::string_view definition, Json properties) {
  return {{"allOf", Json::array({Ref(definition), Json{{"properties", std::move(properties)}}})}};
}

Json Keys(const char* valueKey, Json value) {
  Json key = Object({{"time", {{"description", "Seconds. Times rise strictly."}, {"type", "number"}}},
                     {valueKey, std::move(value)},
                     {"interp", Ref("easing")}},
                    {"time", valueKey});
  return {{"description", "Values at times. Before the first and after the last key, that key's value."},
          {"type", "array"},
          {"items", std::move(key)},
          {"minItems", 1},
          {"maxItems", kMaxKeysOfOne}};
}

Json KeyframesOf(Json value) {
  return {{"allOf", Json::array({Ref("keyframes"), Json{{"items", {{"properties", {{"value", std::move(value)}}}}}}})}};
}

Json RandomForm() {
  const Json number{{"type", "number"}};
  return Described(
      "Draws between two values, a new one every 1/30 s or as `every` says. The same seed gives the same draws.",
      Object(
          {{"seed",
            {{"description", "Chooses among series of draws; 0 when left out."},
             {"type", "integer"},
             {"minimum", 0},
             {"maximum", std::int64_t{1} << 53}}},
           {"min", Described("The smallest value.", number)},
           {"max", Described("The largest value.", number)},
           {"every",
            {{"description", "Seconds that a draw holds: a number or \"numerator/denominator\"; 1/30 when left out."},
             {"anyOf", Json::array({Json{{"type", "number"}, {"exclusiveMinimum", 0}},
                                    Json{{"type", "string"}, {"pattern", kRationalPattern}}})}}}},
          {"min", "max"}));
}

Json AudioForm() {
  const Json number{{"type", "number"}};
  const Json following{{"type", "number"}, {"minimum", 0}, {"maximum", 60}};
  const Json edge{{"type", "number"}, {"minimum", 0}, {"maximum", 100000}};
  return Described(
      "Follows the loudness of a sound file.",
      Object(
          {{"file", FileName("A sound or a film with sound, in the scene's folder or below.")},
           {"band",
            {{"description", "The pitches that count: bass 20-150 Hz, mid 150-2500 Hz, treble above, or [low, high]."},
             {"anyOf", Json::array({Json{{"enum", {"full", "bass", "mid", "treble"}}},
                                    Json{{"type", "array"}, {"items", edge}, {"minItems", 2}, {"maxItems", 2}}})},
             {"default", "full"}}},
           {"min", Described("The value at silence.", number)},
           {"max", Described("The value at the loudest moment; may lie below `min`.", number)},
           {"attack", Described("Seconds to follow a rise; 0.005 when left out.", following)},
           {"release", Described("Seconds to follow a fall; 0.15 when left out.", following)},
           {"start", Seconds("The sound begins so many seconds into the scene.")}},
          {"file", "min", "max"}));
}

Json ExpressionForm() {
  return {{"description",
           "A formula of t (seconds), tick (whole 1/30 s), frame, width, height, duration, pi and e: + - * / ^, "
           "comparisons, a ? b : c, sin, cos, tan, abs, sqrt, exp, ln, min, max, floor, ceil, fract, mod, clamp, lerp, "
           "smoothstep and more."},
          {"type", "string"},
          {"minLength", 1},
          {"maxLength", kMaxJsonString}};
}

// Exactly one of the members.
Json OneOf(Json forms) {
  Json object = Object(std::move(forms));
  object["minProperties"] = object["maxProperties"] = 1;
  return object;
}

Json Sources(const Json& number) {
  const Json ends{{"min", number}, {"max", number}};
  return {{"random", Overlaid("random", ends)}, {"audio", Overlaid("audio", ends)}, {"expression", Ref("expression")}};
}

Json Word() { return {{"type", "number"}, {"minimum", -32768}, {"exclusiveMaximum", 32768}}; }

Json Popup(const ParamInfo& info) {
  return {{"anyOf",
           Json::array({Json{{"enum", info.choices}}, Range("integer", 1, static_cast<double>(info.choices.size()))})}};
}

Json NameOrNull(const char* description) {
  return {{"description", description}, {"type", Json::array({"string", "null"})}};
}

// What one value of the parameter looks like.
Json ValueOf(const ParamInfo& info) {
  switch (info.Type()) {
    case ORV_PARAM_INTEGER:
    case ORV_PARAM_FIXED:
      return Range("number", info.ValidMin(), info.ValidMax());
    case ORV_PARAM_ANGLE:
      return Word();
    case ORV_PARAM_CHECKBOX:
      return {{"type", "boolean"}};
    case ORV_PARAM_COLOR:
      return {{"type", "string"}, {"pattern", kColorPattern}, {"format", "color-hex"}};
    case ORV_PARAM_POINT:
      return {{"type", "array"}, {"items", Word()}, {"minItems", 2}, {"maxItems", 2}};
    case ORV_PARAM_POPUP:
      return Popup(info);
    case ORV_PARAM_LAYER:
      return NameOrNull("A name from \"layers\", or null for the effect's own layer.");
    default:
      return NameOrNull("A name from \"masks\", or null for none.");
  }
}

std::string DescriptionOf(const ParamInfo& info) {
  std::string text = info.group.empty() ? "" : info.group + ". ";
  const auto [meaning, unit] = MeaningOf(info.name);
  if (!meaning.empty()) text += std::string(meaning) + " ";
  const std::string counted = unit.empty() ? "" : fmt::format(", {}", unit);
  switch (info.Type()) {
    case ORV_PARAM_INTEGER:
      return text + fmt::format("A whole number in {}..{}{}; a fraction is rounded.", info.ValidMin(), info.ValidMax(),
                                counted);
    case ORV_PARAM_FIXED:
      return text + fmt::format("A number in {}..{}{}.", info.ValidMin(), info.ValidMax(), counted);
    case ORV_PARAM_ANGLE:
      return text +
             fmt::format("{}; a full turn counts on.", unit == "degrees a second" ? "Degrees a second" : "Degrees");
    case ORV_PARAM_CHECKBOX:
      return text + "On or off.";
    case ORV_PARAM_COLOR:
      return text + "A colour \"#rrggbb\".";
    case ORV_PARAM_POINT:
      return text + "[x, y] in pixels of the full-size layer, from its top left corner.";
    case ORV_PARAM_POPUP:
      return text + "An item's text, or its number from 1.";
    case ORV_PARAM_LAYER:
      return text + "The name of a layer, or null.";
    default:
      return text + "The name of a mask, or null.";
  }
}

// Defaults of points are in per cent of the layer, those of layers and masks are indices: described in words.
Json DefaultOf(const ParamInfo& info) {
  const OrvParamValue& value = info.definition.value;
  switch (info.Type()) {
    case ORV_PARAM_INTEGER:
      return value.integer.defaultValue;
    case ORV_PARAM_FIXED:
      return Number(value.fixed.defaultValue / 65536.0);
    case ORV_PARAM_ANGLE:
      return Number(value.angle.defaultValue / 65536.0);
    case ORV_PARAM_CHECKBOX:
      return value.checkbox.defaultValue != 0;
    case ORV_PARAM_POPUP: {
      const auto place = static_cast<std::size_t>(value.popup.defaultValue);
      return place >= 1 && place <= info.choices.size() ? Json(info.choices[place - 1]) : Json();
    }
    case ORV_PARAM_COLOR: {
      const OrvPixel& color = value.color.defaultValue;
      return fmt::format("#{:02x}{:02x}{:02x}", color.red, color.green, color.blue);
    }
    default:
      return nullptr;
  }
}

// A point whose coordinates may come from sources.
Json SourcedPoint() {
  const Json coordinate{{"anyOf", Json::array({Word(), OneOf(Sources(Word()))})}};
  return {{"type", "array"}, {"items", coordinate}, {"minItems", 2}, {"maxItems", 2}};
}

Json Parameter(const ParamInfo& info) {
  const Json value = ValueOf(info);
  const bool isPoint = info.Type() == ORV_PARAM_POINT;
  Json forms{{"keyframes", KeyframesOf(value)}};
  if (TakesSources(info) && !isPoint) forms.update(Sources(value));
  Json schema{{"description", DescriptionOf(info)},
              {"anyOf", Json::array({isPoint ? SourcedPoint() : value, OneOf(std::move(forms))})}};
  if (const Json standard = DefaultOf(info); !standard.is_null()) schema["default"] = standard;
  return schema;
}

Json Parameters(const ParamCatalog& catalog) {
  Json properties = Json::object();
  for (const ParamInfo& info : catalog.Params()) {
    if (info.BearsValue()) properties[info.name] = Parameter(info);
  }
  return Described("The effect's parameters by name; one that is left out has its default.", Object(properties));
}

Json BlendForm(const char* description) {
  Json blends = Json::array();
  for (const auto& [name, blend] : kBlendNames) blends.push_back(name);
  return {{"description", description}, {"enum", std::move(blends)}, {"default", "normal"}};
}

Json Effects() {
  const Json effect = Object({{"parameters", Ref("parameters")},
                              {"blend", BlendForm("How this effect's picture is laid over those before it.")},
                              {"opacity", Described("Of this effect's picture.", Range("number", 0, 1))}});
  return {{"description", "Several effects, drawn in this order; in place of \"parameters\"."},
          {"type", "array"},
          {"items", effect},
          {"minItems", 1},
          {"maxItems", kMaxEmitters}};
}

Json MotionBlurForm() {
  return Described(
      "Every frame is the mean of pictures at times while the shutter is open.",
      Object({{"samples", Described("Pictures for each frame; 1 is no blur.", Range("integer", 1, kMaxSamples))},
              {"shutter", Described("Degrees that the shutter is open: 360 is a whole frame; 180 when left out.",
                                    Range("number", 0, kMaxShutter))},
              {"phase", Described("Degrees from the frame's time to the shutter's opening; 0 when left out.",
                                  Range("number", -kMaxShutter, kMaxShutter))}},
             {"samples"}));
}

Json Medium() {
  Json object =
      Object({{"file", FileName("A picture, a film, or a numbered sequence such as \"shot.%04d.png\".")},
              {"start", Seconds("Subtracted from the scene's time: seconds of a film, pictures of a sequence.")}},
             {"file"});
  return {{"description", "A picture, a numbered sequence or a film in the scene's folder or below."},
          {"anyOf", Json::array({FileName("The file's name."), std::move(object)})}};
}

Json GlowForm() {
  return Described(
      "A halo of light around the effects' picture.",
      Object({{"radius", Described("Pixels that it reaches; 0 is no glow.", Range("number", 0, kMaxGlowRadius))},
              {"strength", Described("How much light it holds: 1, when left out, as much as what glows.",
                                     Range("number", 0, kMaxGlowStrength))},
              {"threshold", Described("How bright a pixel must be to glow, of 0..1; 0 when left out: all glow.",
                                      Range("number", 0, 1))}},
             {"radius"}));
}

Json BackgroundForm() {
  const Json color{{"description", "A colour."}, {"type", "string"}, {"pattern", kColorPattern}};
  Json name = FileName("The name of a picture, a numbered sequence or a film, or \"input\" for the scene's input.");
  name["pattern"] = "^(?!#)(?!.*://)";
  Json object = Medium()["anyOf"][1];
  return {{"description", "What stands behind the effects' picture, which then is opaque."},
          {"anyOf", Json::array({color, std::move(name), std::move(object)})}};
}

Json SoundForm() {
  Json object = Object({{"file", FileName("A sound, or a film with one.")},
                        {"start", Seconds("The sound begins so many seconds into the scene.")}},
                       {"file"});
  return {{"description",
           "The sound that films carry; null: none. Left out: the one that the parameters follow, or that of a film "
           "that stands behind."},
          {"anyOf", Json::array({FileName("The file's name."), std::move(object), Json{{"type", "null"}}})}};
}

// Which part of a drawing, and where it lies.
Json MaskKeys() {
  const Json pixels = Range("number", -1e6, 1e6);
  const Json side = Range("number", 1, 1e6);
  const Json box{
      {"type", "array"}, {"items", Json::array({pixels, pixels, side, side})}, {"minItems", 4}, {"maxItems", 4}};
  Json onto = Object({{"contain", box}, {"cover", box}});
  onto["minProperties"] = onto["maxProperties"] = 1;
  const Json factor = Range("number", -1000, 1000);
  return {
      {"close", Described("Closes an open path with a straight line.", Json{{"type", "boolean"}})},
      {"fit",
       {{"description",
         "Into the picture or a rectangle [x, y, width, height]: as large as fits inside, or as covers it. Left out, a "
         "drawing outside the picture, or smaller than a twentieth of it, is put into the middle."},
        {"anyOf", Json::array({Json{{"enum", {"none", "contain", "cover"}}}, std::move(onto)})}}},
      {"scale",
       {{"description", "A factor about the outline's middle, or one for the width and one for the height."},
        {"anyOf",
         Json::array({factor, Json{{"type", "array"}, {"items", factor}, {"minItems", 2}, {"maxItems", 2}}})}}},
      {"rotate", Described("Degrees clockwise about the outline's middle.", Range("number", -32768, 32768))},
      {"position",
       {{"description", "Where the outline's middle lies, in pixels."},
        {"type", "array"},
        {"items", pixels},
        {"minItems", 2},
        {"maxItems", 2}}},
      {"anchor",
       {{"description",
         "Waves grow about the layer's middle: \"outline\" puts the outline's middle there, so that they grow "
         "about the Producer Point."},
        {"enum", {"layer", "outline"}}}}};
}

Json MaskForm() {
  const Json path{{"description", "One path in the path language of SVG, in pixels of the layer."},
                  {"type", "string"},
                  {"minLength", 1}};
  const auto form = [](Json own, Json required) {
    own.update(MaskKeys());
    return Object(std::move(own), std::move(required));
  };
  const Json id{
      {"description", "The id of an element: it and what is inside it."}, {"type", "string"}, {"minLength", 1}};
  const Json part{{"description", "Which outline: its number, an element's id, \"largest\" or \"all\"."},
                  {"anyOf", Json::array({Range("integer", 1, 1e6), Json{{"type", "string"}, {"minLength", 1}}})}};
  return {{"description", "An outline: a path, what an SVG file draws, or paths at times."},
          {"anyOf", Json::array({form({{"d", path}}, {"d"}),
                                 form({{"file", FileName("An SVG file.")}, {"id", id}, {"part", part}}, {"file"}),
                                 form({{"keyframes", Keys("d", path)}}, {"keyframes"})})}};
}

Json Named(std::string_view definition, const char* description) {
  return {{"description", description}, {"type", "object"}, {"additionalProperties", Ref(definition)}};
}

Json Rate(const char* description) {
  return {{"description", description},
          {"anyOf", Json::array({Json{{"type", "number"}, {"exclusiveMinimum", 0}},
                                 Json{{"type", "string"}, {"pattern", kRationalPattern}}})}};
}

Json Properties() {
  return {
      {"$schema", {{"description", "Where this schema lies, for editors; not read."}, {"type", "string"}}},
      {"version", {{"description", "The version of this format."}, {"const", 1}}},
      {"width", Described("Pixels of the full-size layer.", Range("integer", 1, kMaxLayerSide))},
      {"height", Described("Pixels of the full-size layer.", Range("integer", 1, kMaxLayerSide))},
      {"frameRate", Rate("Frames per second: a number, exactly as written, or \"30000/1001\".")},
      {"duration", {{"description", "Seconds."}, {"type", "number"}, {"exclusiveMinimum", 0}}},
      {"pixelAspect", Rate("Width of a pixel divided by its height; 1 when left out.")},
      {"input", Described("The effect's own layer; transparent when left out.", Ref("medium"))},
      {"layers", Named("medium", "Further layers by name, for \"Source Layer\".")},
      {"masks", Named("mask", "Outlines by name, for \"Mask\".")},
      {"parameters", Ref("parameters")},
      {"effects", Effects()},
      {"motionBlur", MotionBlurForm()},
      {"glow", GlowForm()},
      {"background", BackgroundForm()},
      {"blend", BlendForm("How the effects' picture is laid over the background.")},
      {"compositing",
       {{"description",
         "Whether pictures are laid over one another in their stored values or in linear light (the curve of sRGB)."},
        {"enum", {"stored", "linear"}},
        {"default", "stored"}}},
      {"sound", SoundForm()},
      {"preroll", Described("Seconds that the effect runs before frame 0, so that a film does not begin empty.",
                            Range("number", 0, 36000))},
      {"loop",
       Described("The picture after the last frame is the first one. Everything has to repeat with the duration.",
                 Json{{"type", "boolean"}})}};
}

}  // namespace

std::string SceneSchema(const ParamCatalog& catalog) {
  Json schema{{"$schema", "http://json-schema.org/draft-07/schema#"},
              {"title", "Scene"},
              {"description", "What the effect is shown: size, time, media, masks and every parameter over time."}};
  schema.update(Object(Properties(), {"version", "width", "height", "frameRate", "duration"}));
  schema["not"] = {{"required", {"parameters", "effects"}}};
  schema["definitions"] = {{"easing", EasingForm()},
                           {"keyframes", Keys("value", Json::object())},
                           {"random", RandomForm()},
                           {"audio", AudioForm()},
                           {"expression", ExpressionForm()},
                           {"medium", Medium()},
                           {"mask", MaskForm()},
                           {"parameters", Parameters(catalog)}};
  return schema.dump(2) + "\n";
}

}  // namespace orvandel::stage
