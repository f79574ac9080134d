// Parameter set-up: one table row a registration, in the order that hosts and projects rely on. All definitions
// are built before the first is handed over, and none outlives the command.
#include "effect/params/param_set.h"

#include <array>
#include <cstring>

#include "effect/base/errors.h"
#include "effect/base/heap_containers.h"
#include "effect/host/strings.h"
#include "effect/params/param_ids.h"
#include "effect/platform/host_text.h"

namespace orvandel {
namespace {

// Host flags, by what they mean here.
constexpr std::uint32_t kNone = 0, kFolded = ORV_PARAM_CLOSED, kReactsToChange = ORV_PARAM_SUPERVISED;

struct Row {
  std::int32_t type;
  ParamId id = kNoParam;
  std::int32_t text = 0;  // string id of the name; a checkbox's label
  std::uint32_t hostFlags = kNone;
  // In the parameter's own unit; ranges for sliders alone.
  double defaultValue = 0;
  double validMin = 0, validMax = 0, sliderMin = 0, sliderMax = 0;
  std::int16_t precision = 0;  // decimal places shown
  // Popups: string ids of the items, ended by 0.
  std::array<std::int32_t, 10> items{};
};

constexpr std::int32_t kRegistrations = 43;
constexpr OrvPixel kDefaultColor = {255, 0, 0, 255};

constexpr Row Fixed(ParamId id, std::int32_t text, std::int16_t precision, double defaultValue, double validMin,
                    double validMax, double sliderMin, double sliderMax) {
  return {ORV_PARAM_FIXED, id, text, kFolded, defaultValue, validMin, validMax, sliderMin, sliderMax, precision};
}
constexpr Row Integer(ParamId id, std::int32_t text, double defaultValue, double validMin, double validMax,
                      double sliderMax) {
  return {ORV_PARAM_INTEGER, id, text, kFolded, defaultValue, validMin, validMax, validMin, sliderMax};
}
constexpr Row Popup(ParamId id, std::int32_t text, std::uint32_t hostFlags, double defaultValue,
                    std::array<std::int32_t, 10> items) {
  return {.type = ORV_PARAM_POPUP,
          .id = id,
          .text = text,
          .hostFlags = hostFlags,
          .defaultValue = defaultValue,
          .items = items};
}
constexpr Row Plain(std::int32_t type, ParamId id, std::int32_t text, std::uint32_t hostFlags,
                    double defaultValue = 0) {
  return {type, id, text, hostFlags, defaultValue};
}
constexpr Row GroupStart(ParamId id, std::int32_t text, std::uint32_t hostFlags) {
  return {ORV_PARAM_GROUP_START, id, text, hostFlags};
}
constexpr Row kGroupEnd = {ORV_PARAM_GROUP_END};

// clang-format off
constexpr std::array<Row, kRegistrations> kRows = {{
    Plain(ORV_PARAM_POINT, kProducerPoint, 1, kNone, 50),
    Popup(kSetAt, 2, kFolded, 1, {3, 4}),
    Integer(kRenderQuality, 51, 4, 1, 16, 16),
    Popup(kWaveType, 21, kReactsToChange, 1, {22, 23, 24}),
    GroupStart(kGroupPolygon, 52, kFolded),
      Integer(kSides, 30, 64, 3, 128, 128),
      Fixed(kCurveSize, 32, 3, 0, 0, 1, 0, 1),
      Fixed(kCurvyness, 33, 3, 0, 0, 1, 0, 1),
      Plain(ORV_PARAM_CHECKBOX, kStar, 56, kFolded),
      Fixed(kStarDepth, 31, 2, -0.5, -1, 10, -1, 1),
    kGroupEnd,
    GroupStart(kGroupImageContour, 53, kFolded),
      Plain(ORV_PARAM_LAYER, kSourceLayer, 34, kNone, -1),
      Plain(ORV_PARAM_POINT, kSourceCenter, 35, kNone, 50),
      Popup(kValueChannel, 36, kFolded, 5, {37, 38, 39, 40, 41, 42, 43, 44, 45}),
      Plain(ORV_PARAM_CHECKBOX, kInvertInput, 47, kFolded),
      Fixed(kValueThreshold, 46, 2, 127, 0, 255, 0, 255),
      Fixed(kPreBlur, 48, 2, 0, 0, 50, 0, 50),
      Fixed(kTolerance, 49, 3, 0.5, 0, 5, 0, 5),
      Integer(kContour, 50, 1, 1, 1000, 50),
    kGroupEnd,
    GroupStart(kGroupMask, 24, kFolded),
      Plain(ORV_PARAM_PATH, kMask, 58, kFolded, 1),
    kGroupEnd,
    GroupStart(kNoParam, 54, kNone),
      Fixed(kFrequency, 6, 2, 1, 0, 500, 0, 20),
      Fixed(kExpansion, 5, 2, 5, 0, 1000, 0, 20),
      Plain(ORV_PARAM_ANGLE, kOrientation, 25, kFolded, 0),
      Plain(ORV_PARAM_ANGLE, kDirection, 7, kFolded, 90),
      Fixed(kVelocity, 8, 2, 0, 0, 10000, 0, 500),
      Fixed(kSpin, 9, 2, 0, -10000, 10000, -360, 360),
      Fixed(kLifespan, 26, 3, 10, 0, 1000, 0, 30),
      Plain(ORV_PARAM_CHECKBOX, kReflection, 29, kFolded),
    kGroupEnd,
    GroupStart(kNoParam, 55, kNone),
      Popup(kProfile, 12, kFolded, 1, {13, 14, 15, 16, 17, 57, 18}),
      Plain(ORV_PARAM_COLOR, kColor, 19, kFolded),
      Fixed(kOpacity, 20, 3, 1, 0, 1, 0, 1),
      Fixed(kFadeInTime, 27, 3, 0, 0, 300, 0, 30),
      Fixed(kFadeOutTime, 28, 3, 5, 0, 300, 0, 30),
      Fixed(kStartWidth, 10, 2, 5, 1, 100, 1, 50),
      Fixed(kEndWidth, 11, 2, 5, 1, 100, 1, 50),
    kGroupEnd,
}};
// clang-format on

// A definition with the storage of its popup text, which the definition only points to.
struct Registration {
  OrvParamDef definition{};
  char choices[1024] = "";
};

constexpr OrvFixed ToFixed(double value) { return static_cast<OrvFixed>(value * 65536.0); }

void BuildFixed(const Row& row, OrvFixedValue& value) {
  value.validMin = ToFixed(row.validMin);
  value.validMax = ToFixed(row.validMax);
  value.sliderMin = ToFixed(row.sliderMin);
  value.sliderMax = ToFixed(row.sliderMax);
  value.defaultValue = value.value = ToFixed(row.defaultValue);
  value.precision = row.precision;
}

void BuildInteger(const Row& row, OrvIntegerValue& value) {
  value.validMin = static_cast<std::int32_t>(row.validMin);
  value.validMax = static_cast<std::int32_t>(row.validMax);
  value.sliderMin = static_cast<std::int32_t>(row.sliderMin);
  value.sliderMax = static_cast<std::int32_t>(row.sliderMax);
  value.defaultValue = value.value = static_cast<std::int32_t>(row.defaultValue);
}

// Appends one item: another choice, joined by "|" unless the text is still empty.
void AppendChoice(Registration& registration, const char* item) {
  ++registration.definition.value.popup.choiceCount;
  const std::size_t length = std::strlen(registration.choices);
  std::size_t used = length;
  if (length > 0 && length + 1 < sizeof(registration.choices)) registration.choices[used++] = '|';
  platform::Lq_CopyString(item, sizeof(registration.choices) - used, registration.choices + used);
}

void BuildPopup(const EffectContext& context, const Row& row, Registration& registration) {
  OrvPopupValue& value = registration.definition.value.popup;
  value.value = static_cast<std::int32_t>(row.defaultValue);
  value.defaultValue = static_cast<std::int16_t>(row.defaultValue);
  for (const std::int32_t item : row.items) {
    if (item != 0) AppendChoice(registration, GetString(context, item));
  }
  value.choices = registration.choices;
}

void BuildValue(const EffectContext& context, const Row& row, Registration& registration) {
  OrvParamValue& value = registration.definition.value;
  const OrvFixed fixedDefault = ToFixed(row.defaultValue);
  switch (row.type) {
    case ORV_PARAM_LAYER:
      value.layer.defaultLayer = static_cast<std::int32_t>(row.defaultValue);
      break;
    case ORV_PARAM_INTEGER:
      BuildInteger(row, value.integer);
      break;
    case ORV_PARAM_FIXED:
      BuildFixed(row, value.fixed);
      break;
    case ORV_PARAM_ANGLE:
      value.angle = {fixedDefault, fixedDefault};
      break;
    case ORV_PARAM_CHECKBOX:
      value.checkbox.label = GetString(context, row.text);
      break;
    case ORV_PARAM_COLOR:
      value.color = {kDefaultColor, kDefaultColor};
      break;
    case ORV_PARAM_POINT:
      value.point = {fixedDefault, fixedDefault, 1, fixedDefault, fixedDefault};
      break;
    case ORV_PARAM_POPUP:
      BuildPopup(context, row, registration);
      break;
    case ORV_PARAM_PATH:
      value.path.pathId = value.path.defaultPath = static_cast<std::int32_t>(row.defaultValue);
      break;
    default:
      break;
  }
}

// The name field holds 31 bytes; a longer translation is cut at a character boundary. A group's name is copied by the
// host's own string utility, from a text already cut to the field.
void BuildName(const EffectContext& context, const Row& row, OrvParamDef& definition) {
  if (row.type == ORV_PARAM_GROUP_END) return;
  const char* text = GetString(context, row.text);
  if (row.type == ORV_PARAM_CHECKBOX) return;  // its text shows as the label only
  if (row.type == ORV_PARAM_GROUP_START) {
    char cut[ORV_PARAM_NAME_BYTES];
    platform::Lq_CopyString(text, sizeof(cut), cut);
    context.inRecord->utilities->copyString(definition.name, cut);
  } else {
    platform::Lq_CopyString(text, sizeof(definition.name), definition.name);
  }
}

void Build(const EffectContext& context, const Row& row, Registration& registration) {
  registration.definition.type = row.type;
  registration.definition.hostFlags = row.hostFlags;
  BuildValue(context, row, registration);
  BuildName(context, row, registration.definition);
}

// A parameter's lasting id is twice its logical id; group markers without one take odd numbers from their position.
void Add(EffectContext& context, const Row& row, OrvParamDef& definition) {
  OrvOutRecord& out = *context.outRecord;
  if (out.paramCount < 0 || out.paramCount >= kSlotCount) throw AbortException(ORV_INVALID_CALLBACK);
  ParamIndexTable& table = context.globals->paramIndexTable;
  if (out.paramCount == 0) {
    table[kInputLayer] = 0;
    out.paramCount = 1;
  }
  if (row.id >= 1) {
    table[static_cast<std::size_t>(row.id)] = out.paramCount;
    definition.id = 2 * row.id;
  } else {
    definition.id = 2 * out.paramCount + 1;
  }
  context.inRecord->callbacks.addParam(context.inRecord->effectRef, -1, &definition);
  ++out.paramCount;
}

}  // namespace

std::int32_t RegisterParams(EffectContext& context) {
  HeapVector<Registration> registrations(kRows.size());
  for (std::size_t i = 0; i < kRows.size(); ++i) Build(context, kRows[i], registrations[i]);
  for (std::size_t i = 0; i < kRows.size(); ++i) Add(context, kRows[i], registrations[i].definition);
  return ORV_OK;
}

}  // namespace orvandel
