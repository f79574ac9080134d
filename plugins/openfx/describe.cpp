#include "plugins/openfx/describe.h"

#include <cmath>
#include <initializer_list>

namespace orvandel::ofx {
namespace {

constexpr const char* kLabel = "Orvandel";

// Hosts refuse values that they do not know, such as newer depths or components: the others are offered without a gap.
// Returns whether there are any.
bool Offer(const Properties& properties, Name name, std::initializer_list<Name> values) {
  int index = 0;
  for (const Name value : values) index += properties.Set(name, value, index) ? 1 : 0;
  return index > 0;
}

// The label comes first: setting it sets the two others.
void SetLabels(const Properties& properties, const char* label) {
  properties.Set(prop::kLabel, label);
  properties.Set(prop::kShortLabel, label);
  properties.Set(prop::kLongLabel, label);
}

// Only some hosts give frames at other times; others may refuse a plug-in that asks for them.
bool GivesOtherTimes() {
  const OfxHost host = CurrentHost();
  const Suites suites = FetchSuites(host);
  return Properties(suites, host.host).Int(prop::kTemporalAccess).value_or(0) == 1;
}

bool DefineClip(const Suites& suites, OfxImageEffectHandle descriptor, Name name, bool optional) {
  OfxPropertyHandle handle = nullptr;
  const OfxStatus status = suites.effects->clipDefine(descriptor, name, &handle);
  if (status != kOk) return status == kExists;  // described before
  const Properties clip(suites, handle);
  SetLabels(clip, name);
  // RGBA first: some hosts take the first for the one that is liked best.
  const bool set = Offer(clip, prop::kSupportedComponents, {components::kRgba, components::kRgb, components::kAlpha});
  clip.Set(prop::kTiles, 1);
  if (optional) clip.Set(prop::kOptional, 1);
  if (name != clip::kOutput) clip.Set(prop::kTemporalAccess, GivesOtherTimes() ? 1 : 0);
  return set;
}

// The first clip defined is what many hosts connect and take the format from.
bool DefineClips(const Suites& suites, OfxImageEffectHandle descriptor, const std::string& context) {
  bool all = true;
  if (context != context::kGenerator) {
    const bool optional = context == context::kGeneral;
    all = DefineClip(suites, descriptor, clip::kSource, optional);
    DefineClip(suites, descriptor, kLayerClip, true);  // a host without a second input can do without it
  }
  return DefineClip(suites, descriptor, clip::kOutput, false) && all;
}

class ParamDefiner {
 public:
  ParamDefiner(const Suites& suites, OfxParamSetHandle params) : suites_(suites), params_(params) {
    const OfxHost host = CurrentHost();
    const Properties abilities(suites, host.host);
    choicesAnimate_ = abilities.Int("OfxParamHostPropSupportsChoiceAnimation").value_or(0) == 1;
    switchesAnimate_ = abilities.Int("OfxParamHostPropSupportsBooleanAnimation").value_or(0) == 1;
  }

  // A host that does not know a kind of parameter shows the others; the effect then has that one's default.
  void Define(const ShownParam& shown) {
    const Properties param = New(TypeOf(shown.kind), shown.name, shown.label);
    if (!param) return;
    param.Set(prop::kHint, shown.hint.c_str());
    if (!shown.group.empty()) param.Set(prop::kParent, shown.group.c_str());
    param.Set(prop::kAnimates, Animates(shown) ? 1 : 0);
    // Waves keep what they were born with: a key changes frames long after it.
    if (shown.animates) param.Set(prop::kCacheInvalidation, "OfxParamInvalidateValueChangeToEnd");
    switch (shown.kind) {
      case Kind::kInteger:
        SetInteger(param, shown);
        break;
      case Kind::kNumber:
      case Kind::kAngle:
        SetNumber(param, shown);
        break;
      case Kind::kPoint:
        SetPoint(param, shown);
        break;
      case Kind::kChoice:
        for (std::size_t i = 0; i < shown.choices.size(); ++i) {
          param.Set(prop::kChoiceOption, shown.choices[i].c_str(), static_cast<int>(i));
        }
        [[fallthrough]];
      case Kind::kSwitch:
        param.Set(prop::kDefault, static_cast<int>(shown.defaults[0]));
        break;
      case Kind::kColor:
        for (int i = 0; i < 3; ++i) param.Set(prop::kDefault, shown.defaults[static_cast<std::size_t>(i)], i);
        break;
      case Kind::kFile:
        param.Set(prop::kStringMode, "OfxParamStringIsFilePath");
        param.Set(prop::kFilePathExists, 1);
        param.Set(prop::kDefault, "");
        break;
    }
  }

  void DefineGroup(const ShownGroup& group) {
    const Properties param = New(type::kGroup, group.name, group.label);
    if (param) param.Set(prop::kGroupOpen, group.open ? 1 : 0);
  }

  // For hosts that show pages in place of groups; some show only those that are put in an order.
  void DefinePage(const ParamTable& table) {
    static const std::string kName = "pageOrvandel";
    const Properties page = New(type::kPage, kName, kLabel);
    if (!page) return;
    int index = 0;
    for (const ShownParam& shown : table.params) page.Set(prop::kPageChild, shown.name.c_str(), index++);
    OfxPropertyHandle ofAll = nullptr;
    if (suites_.params->paramSetGetPropertySet(params_, &ofAll) != kOk) return;
    Properties(suites_, ofAll).Set(prop::kPageOrder, kName.c_str());
  }

 private:
  static Name TypeOf(Kind kind) {
    switch (kind) {
      case Kind::kInteger:
        return type::kInteger;
      case Kind::kSwitch:
        return type::kBoolean;
      case Kind::kChoice:
        return type::kChoice;
      case Kind::kColor:
        return type::kRgb;
      case Kind::kPoint:
        return type::kDouble2D;
      case Kind::kFile:
        return type::kString;
      default:
        return type::kDouble;
    }
  }

  bool Animates(const ShownParam& shown) const {
    return shown.animates && (shown.kind != Kind::kChoice || choicesAnimate_) &&
           (shown.kind != Kind::kSwitch || switchesAnimate_);
  }

  Properties New(Name type, const std::string& name, const std::string& label) {
    OfxPropertyHandle handle = nullptr;
    if (suites_.params->paramDefine(params_, type, name.c_str(), &handle) != kOk) return {};
    const Properties param(suites_, handle);
    SetLabels(param, label.c_str());
    param.Set(prop::kScriptName, name.c_str());
    return param;
  }

  // The shown range comes after the valid one, whose setting resets it.
  static void SetInteger(const Properties& param, const ShownParam& shown) {
    param.Set(prop::kMin, static_cast<int>(shown.lowest));
    param.Set(prop::kMax, static_cast<int>(shown.highest));
    param.Set(prop::kDisplayMin, static_cast<int>(shown.sliderLow));
    param.Set(prop::kDisplayMax, static_cast<int>(shown.sliderHigh));
    param.Set(prop::kDefault, static_cast<int>(shown.defaults[0]));
  }

  static void SetNumber(const Properties& param, const ShownParam& shown) {
    if (shown.kind == Kind::kAngle) param.Set(prop::kDoubleType, "OfxParamDoubleTypeAngle");
    param.Set(prop::kMin, shown.lowest);
    param.Set(prop::kMax, shown.highest);
    param.Set(prop::kDisplayMin, shown.sliderLow);
    param.Set(prop::kDisplayMax, shown.sliderHigh);
    // A hundredth of the slider, as a power of ten.
    const double step = std::pow(10, std::floor(std::log10((shown.sliderHigh - shown.sliderLow) / 100)));
    param.Set(prop::kIncrement, step);
    param.Set(prop::kDigits, shown.digits);
    param.Set(prop::kDefault, shown.defaults[0]);
  }

  // The handle on the picture is the host's own. Kind, then coordinates, then default: each means the one before.
  static void SetPoint(const Properties& param, const ShownParam& shown) {
    constexpr double kFar = 32767;    // what the effect's 16.16 words hold
    constexpr double kShown = 10000;  // there is no size yet to show a part of
    param.Set(prop::kDoubleType, "OfxParamDoubleTypeXYAbsolute");
    param.Set(prop::kDefaultCoordinates, "OfxParamCoordinatesNormalised");
    param.SetPair(prop::kDefault, shown.defaults[0], shown.defaults[1]);
    param.SetPair(prop::kMin, -kFar, -kFar);
    param.SetPair(prop::kMax, kFar, kFar);
    param.SetPair(prop::kDisplayMin, -kShown, -kShown);
    param.SetPair(prop::kDisplayMax, kShown, kShown);
    param.Set(prop::kOverlayHandle, 1);
  }

  const Suites& suites_;
  OfxParamSetHandle params_;
  bool choicesAnimate_ = false, switchesAnimate_ = false;
};

}  // namespace

OfxStatus Describe(const Suites& suites, OfxImageEffectHandle descriptor) {
  OfxPropertyHandle handle = nullptr;
  if (suites.effects->getPropertySet(descriptor, &handle) != kOk) return kBadHandle;
  const Properties effect(suites, handle);
  SetLabels(effect, kLabel);
  effect.Set(prop::kGrouping, "Generate");
  effect.Set(
      prop::kDescription,
      "Expanding shapes: waves of polygons, stars, drawn outlines or the contours of a picture, from a point, in "
      "time with the film.");
  effect.Set(prop::kVersion, static_cast<int>(kVersionMajor), 0);
  effect.Set(prop::kVersion, static_cast<int>(kVersionMinor), 1);
  static const std::string kVersionText = std::to_string(kVersionMajor) + '.' + std::to_string(kVersionMinor);
  effect.Set(prop::kVersionLabel, kVersionText.c_str());
  // In the bundle's Resources.
  effect.Set(prop::kIcon, "org.orvandel.Orvandel.svg", 0);
  effect.Set(prop::kIcon, "org.orvandel.Orvandel.png", 1);
  const bool contexts = Offer(effect, prop::kContexts, {context::kGenerator, context::kFilter, context::kGeneral});
  // The effect draws 8 bits: bytes first, and what is laid over a deeper Source keeps the Source's depth.
  const bool depths = Offer(effect, prop::kDepths, {depth::kByte, depth::kShort, depth::kHalf, depth::kFloat});
  effect.Set(prop::kSingleInstance, 0);
  effect.Set(prop::kThreadSafety, "OfxImageEffectRenderFullySafe");
  effect.Set(prop::kHostFrameThreading, 0);  // a frame is rendered once, whoever asks for which part of it
  effect.Set(prop::kMultiResolution, 1);
  effect.Set(prop::kTiles, 1);
  effect.Set(prop::kTemporalAccess, GivesOtherTimes() ? 1 : 0);
  effect.Set(prop::kFieldRenderTwice, 1);
  effect.Set(prop::kMultipleDepths, 0);
  effect.Set(prop::kMultipleAspects, 0);
  effect.Set(prop::kPreferenceSlaves, kComposite);
  return contexts && depths ? kOk : kMissingHostFeature;
}

OfxStatus DescribeInContext(const Suites& suites, OfxImageEffectHandle descriptor, const std::string& context,
                            const ParamTable& table) {
  const bool known =
      context == context::kGenerator || context == context::kFilter || context == context::kGeneral || context.empty();
  if (!known || !DefineClips(suites, descriptor, context)) return kMissingHostFeature;
  OfxParamSetHandle params = nullptr;
  if (suites.effects->getParamSet(descriptor, &params) != kOk || params == nullptr) return kMissingHostFeature;
  ParamDefiner definer(suites, params);
  for (const ShownGroup& group : table.groups) definer.DefineGroup(group);
  for (const ShownParam& shown : table.params) definer.Define(shown);
  definer.DefinePage(table);
  return kOk;
}

}  // namespace orvandel::ofx
